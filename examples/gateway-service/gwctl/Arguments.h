// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace gateway {

/// A command line that makes no sense; the text says why.
class UsageError : public std::invalid_argument {
  public:
    using std::invalid_argument::invalid_argument;
};

/// A command line from which options are taken one by one; what is left are the operands. An
/// argument "--" ends the options.
class Arguments {
  public:
    Arguments(int argc, char** argv);

    /// Whether the option is given; takes it out.
    [[nodiscard]] bool flag(const std::string& name);
    /// The values of "NAME VALUE" or "NAME=VALUE", taken out. Throws `UsageError` when one lacks
    /// its value.
    [[nodiscard]] std::vector<std::string> values(const std::string& name);
    /// The only value, if any. Throws `UsageError` when there are several.
    [[nodiscard]] std::optional<std::string> value(const std::string& name);
    /// A decimal value. Throws `UsageError` when it is no number that fits.
    [[nodiscard]] std::optional<unsigned> number(const std::string& name);

    /// Takes out the first operand. Throws `UsageError` naming it as `what` when there is none, or
    /// when an unknown option comes first.
    [[nodiscard]] std::string operand(const std::string& what);
    /// What is left, all of it operands. Throws `UsageError` for an unknown option.
    [[nodiscard]] std::vector<std::string> operands();
    /// Throws `UsageError` when anything is left.
    void finish();

  private:
    void refuseOptions() const;

    std::vector<std::string> options_;   // before "--"; may hold operands too
    std::vector<std::string> operands_;  // after "--"
};

}  // namespace gateway
