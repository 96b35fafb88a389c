// SPDX-License-Identifier: MIT

// Becomes another program, as the last act of a launcher.
#include <iostream>

#include <vorn/common/exechelper/exec.h>

int main() {
    std::cout << "launching" << std::endl;
    vorn::common::exechelper::exec({"/bin/sh", "-c", "echo $0 says $WORD"}, {"WORD=hello"});
    std::cerr << "could not execute /bin/sh\n";
    return 1;
}
