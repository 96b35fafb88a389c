// Shows the settings in a file, and gives them another label.
#include <iostream>

#include "Settings.h"

int main(int argc, char** argv) {
    try {
        Settings settings;
        settings.load(argv[1]);
        std::cout << "label " << settings.label << '\n';
        if (argc == 3) {
            settings.label = argv[2];
            settings.store(argv[1]);
        }
    } catch (const std::exception& error) {
        log(error.what());
        return 1;
    }
}
