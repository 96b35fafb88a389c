// SPDX-License-Identifier: MIT
#pragma once

#include <clocale>
#include <cstdlib>
#include <string>

#include "helpers/TempDir.h"

namespace helpers {

/// Compiles a locale that writes numbers with a decimal comma and puts its numbers in force for as
/// long as it lives. The other categories, which take seconds to compile, are left out.
class CommaLocale {
  public:
    CommaLocale() {
        const std::string source =
            directory_.write("source",
                             "LC_NUMERIC\ndecimal_point \",\"\nthousands_sep \".\"\ngrouping 3;3\n"
                             "END LC_NUMERIC\n");
        const std::string command = "localedef -c -i '" + source + "' -f ANSI_X3.4-1968 '" +
                                    directory_.file(kName) + "' >/dev/null 2>&1";
        static_cast<void>(std::system(command.c_str()));
        ::setenv("LOCPATH", directory_.path().c_str(), 1);
        inForce_ = std::setlocale(LC_NUMERIC, kName) != nullptr &&
                   *std::localeconv()->decimal_point == ',';
    }
    ~CommaLocale() {
        std::setlocale(LC_NUMERIC, "C");
        ::unsetenv("LOCPATH");
    }
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

    [[nodiscard]] bool isInForce() const { return inForce_; }

  private:
    static constexpr const char* kName = "comma";
    TempDir directory_;
    bool inForce_ = false;
};

}  // namespace helpers
