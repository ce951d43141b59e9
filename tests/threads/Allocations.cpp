#include "threads/Allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {
std::atomic<std::size_t> counted = 0;
}

std::size_t quorvex::test::allocations() {
  return counted;
}

void* operator new(std::size_t size) {
  ++counted;
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
