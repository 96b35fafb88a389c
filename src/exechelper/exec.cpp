// SPDX-License-Identifier: MIT
#include "vorn/common/exechelper/exec.h"

#include "posix/ExecImage.h"

namespace vorn::common {

int exechelper::exec(const std::vector<std::string>& arguments,
                     const std::vector<std::string>& environment) {
    return internal::ExecImage(arguments, environment).execute();
}

int ExecHelper::exec(const std::vector<std::string>& arguments,
                     const std::vector<std::string>& environment) {
    return exechelper::exec(arguments, environment);
}

}  // namespace vorn::common
