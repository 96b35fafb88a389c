// Runs a script for two seconds at most.
#include <atomic>
#include <iostream>

#include "Check.h"

std::atomic<bool> ended = false;

int main(int argc, char** argv) {
    Check check(argc == 2 ? argv[1] : "sleep 10", std::chrono::seconds(2), [] {
        ended = true;
        ended.notify_one();
    });
    ended.wait(false);
    std::cout << asLine(check.result());
}
