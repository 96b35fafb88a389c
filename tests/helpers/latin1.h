// SPDX-License-Identifier: MIT
#pragma once

#include <clocale>
#include <cstdlib>
#include <string>

#include "helpers/TempDir.h"

namespace helpers {

/// Compiles a Latin-1 locale and puts its characters in force for as long as it lives.
class Latin1Locale {
  public:
    Latin1Locale() {
        const std::string command =
            "localedef -c -i en_US -f ISO-8859-1 " + directory_.file(kName) + " >&2";
        made_ = std::system(command.c_str()) == 0;
        ::setenv("LOCPATH", directory_.path().c_str(), 1);
        made_ = std::setlocale(LC_CTYPE, kName) != nullptr && made_;
    }
    ~Latin1Locale() {
        std::setlocale(LC_CTYPE, "C");
        ::unsetenv("LOCPATH");
    }
    Latin1Locale(const Latin1Locale&) = delete;
    Latin1Locale& operator=(const Latin1Locale&) = delete;

    [[nodiscard]] bool isInForce() const { return made_; }

  private:
    static constexpr const char* kName = "latin1";
    TempDir directory_;
    bool made_ = false;
};

}  // namespace helpers
