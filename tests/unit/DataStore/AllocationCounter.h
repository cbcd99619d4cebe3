#pragma once

#include <cstddef>

/// How often operator new was called in this process so far. Linking AllocationCounter.cpp replaces
/// it, for the program and the libraries it loads.
[[nodiscard]] std::size_t allocationCount();
