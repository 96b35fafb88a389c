// SPDX-License-Identifier: MIT
#include <vorn/common/TypedArgs.h>

int main() {
    static_cast<void>(vorn::common::GetTypedArgHelper<int>::get("1"));
    static_cast<void>(vorn::common::GetTypedArgHelper<char>::get("1"));
}
