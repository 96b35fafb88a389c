// Shows the settings in a file, and gives them another label.
#include <iostream>

#include "Settings.h"

int main(int argc, char** argv) {
    if (argc < 2) {
        log("usage: step2 SETTINGS.json [LABEL]");
        return 64;
    }
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
