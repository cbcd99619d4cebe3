// By itself, or the compiler sees through a replaced operator new where it is used.
#include "AllocationCounter.h"

#include <cstdlib>
#include <new>

namespace {

std::size_t count = 0;

void* allocated(std::size_t size, std::size_t alignment) {
  ++count;
  void* const memory =
      std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

}  // namespace

std::size_t allocationCount() { return count; }

// The other forms of operator new and delete are defined by these.
void* operator new(std::size_t size) { return allocated(size, alignof(std::max_align_t)); }
void* operator new(std::size_t size, std::align_val_t alignment) {
  return allocated(size, static_cast<std::size_t>(alignment));
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }
void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
  std::free(memory);
}
