#pragma once

#include <cstddef>

namespace allocations {

/// How often this thread has called operator new, in the library too.
std::size_t ofThisThread();

}  // namespace allocations
