#include "vorn/common/exechelper/exec.h"

#include <unistd.h>

#include "posix/ExecImage.h"

namespace vorn::common {

int exechelper::exec(const std::vector<std::string>& arguments,
                     const std::vector<std::string>& environment) {
    const internal::ExecImage image(arguments, environment);
    return ::execve(image.path(), image.argv(), image.envp());
}

int ExecHelper::exec(const std::vector<std::string>& arguments,
                     const std::vector<std::string>& environment) {
    return exechelper::exec(arguments, environment);
}

}  // namespace vorn::common
