// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// Names that somebody made for one place of a hash table.
namespace limits {

/// Different names with one value of `std::hash`, whatever the number of buckets.
[[nodiscard]] std::vector<std::string> namesOfOneHash(std::size_t count);

/// Different names with one value of the hash by which the comparison of JSON looks for names that
/// come twice.
[[nodiscard]] std::vector<std::string> namesThatTheComparisonConfuses(std::size_t count);

}  // namespace limits
