#include "posix/errorText.h"

#include <cstring>

namespace vorn::common::internal {

std::string errorText(int errorNumber) {
    char buffer[128];
    return ::strerror_r(errorNumber, buffer, sizeof buffer);
}

}  // namespace vorn::common::internal
