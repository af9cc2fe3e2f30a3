// operator new as tests make it fail; in a file of its own, so that the compiler sees no
// call of malloc where it knows of a call of new.
#include <cstddef>
#include <cstdlib>
#include <new>

#include "fakes/failing_allocation.h"

// The other forms come down to these through the standard library.
// NOLINTBEGIN(misc-new-delete-overloads)

void* operator new(std::size_t size) {
  void* block = FailingAllocation::isDue() ? nullptr : std::malloc(size != 0 ? size : 1);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void operator delete(void* block) noexcept {
  std::free(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept {
  std::free(block);
}

// NOLINTEND(misc-new-delete-overloads)
