#pragma once

#include <cstddef>

/// How many C++ allocations this program and its libraries have made so far. The program's own
/// operator new counts them; in a file of its own, so that no caller sees through it.
[[nodiscard]] std::size_t allocationCount();
