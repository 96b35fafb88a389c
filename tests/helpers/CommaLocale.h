#pragma once

#include "helpers/TempDir.h"

#include <clocale>
#include <cstdlib>
#include <string>

namespace helpers {

/// Compiles a locale that writes numbers with a decimal comma and puts it in force for as long as
/// it lives.
class CommaLocale {
  public:
    CommaLocale() {
        const std::string command =
            "localedef -i de_DE -f UTF-8 '" + directory_.file(kName) + "' >/dev/null 2>&1";
        static_cast<void>(std::system(command.c_str()));
        ::setenv("LOCPATH", directory_.path().c_str(), 1);
        inForce_ =
            std::setlocale(LC_ALL, kName) != nullptr && *std::localeconv()->decimal_point == ',';
    }
    ~CommaLocale() {
        std::setlocale(LC_ALL, "C");
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
