// Starts as a service should, and tells who it is.
#include <iostream>

#include "start.h"

int main(int argc, char** argv) {
    openStandardDescriptors();
    try {
        const Arguments arguments = loadArguments(argc == 2 ? argv[1] : "");
        takeIdentity(arguments);
        std::cout << "user " << ::geteuid() << " will run: " << arguments.script << '\n';
    } catch (const std::exception& error) {
        log(error.what());
        return 1;
    }
}
