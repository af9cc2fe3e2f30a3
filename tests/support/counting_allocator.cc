// Replaces malloc and its relatives: the linker's --wrap=malloc turns a call of malloc into one of
// __wrap_malloc, and a call of __real_malloc into one of malloc. Nothing here may use the functions
// that it replaces: it keeps its records in memory from __real_malloc, and locks without a mutex,
// because on some systems mutexes and thread-local variables are allocated.
#include "support/counting_allocator.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <unordered_set>

// NOLINTBEGIN(bugprone-reserved-identifier,misc-new-delete-overloads)

extern "C" {
void* __real_malloc(std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void __real_free(void* block);
void* __wrap_malloc(std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size);
void* __wrap_realloc(void* block, std::size_t size);
void __wrap_free(void* block);
}

namespace {

// Memory that is not counted.
template <typename T>
struct UncountedAllocator {
  using value_type = T;
  UncountedAllocator() = default;
  template <typename Other>
  UncountedAllocator(const UncountedAllocator<Other>& /*other*/) {}  // NOLINT: converts

  T* allocate(std::size_t count) {
    void* block = __real_malloc(count * sizeof(T));
    if (block == nullptr) std::abort();
    return static_cast<T*>(block);
  }
  void deallocate(T* block, std::size_t /*count*/) { __real_free(block); }

  friend bool operator==(const UncountedAllocator&, const UncountedAllocator&) { return true; }
  friend bool operator!=(const UncountedAllocator&, const UncountedAllocator&) { return false; }
};

struct Books {
  std::unordered_set<const void*, std::hash<const void*>, std::equal_to<>,
                     UncountedAllocator<const void*>>
      outstanding;
  std::vector<std::size_t, UncountedAllocator<std::size_t>> sizes;
};

// Set while something counts.
Books* currentBooks = nullptr;
std::atomic_flag isLocked = ATOMIC_FLAG_INIT;

class Lock {
 public:
  Lock() {
    while (isLocked.test_and_set(std::memory_order_acquire)) {
    }
  }
  ~Lock() { isLocked.clear(std::memory_order_release); }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;
};

void noteSize(std::size_t size) {
  if (UncountedThread::isThis()) return;
  const Lock lock;
  if (currentBooks != nullptr) currentBooks->sizes.push_back(size);
}

void noteTaken(const void* block) {
  if (block == nullptr || UncountedThread::isThis()) return;
  const Lock lock;
  if (currentBooks != nullptr) currentBooks->outstanding.insert(block);
}

// Before the block is given back: afterwards another thread may get the same one.
bool noteGiven(const void* block) {
  const Lock lock;
  return currentBooks != nullptr && currentBooks->outstanding.erase(block) != 0;
}

}  // namespace

AllocationCount::AllocationCount() {
  void* block = __real_malloc(sizeof(Books));
  if (block == nullptr) std::abort();
  auto* books = new (block) Books;
  const Lock lock;
  if (currentBooks != nullptr) std::abort();
  currentBooks = books;
}

AllocationCount::~AllocationCount() {
  Books* books = nullptr;
  {
    const Lock lock;
    books = currentBooks;
    currentBooks = nullptr;
  }
  books->~Books();
  __real_free(books);
}

std::size_t AllocationCount::outstanding() const {
  const Lock lock;
  return currentBooks->outstanding.size();
}

std::vector<std::size_t> AllocationCount::sizes() const {
  const auto copy = [] {
    const Lock lock;
    return currentBooks->sizes;
  }();
  return {copy.begin(), copy.end()};
}

void* __wrap_malloc(std::size_t size) {
  noteSize(size);
  void* block = FailingAllocation::isDue() ? nullptr : __real_malloc(size);
  noteTaken(block);
  return block;
}

void* __wrap_calloc(std::size_t count, std::size_t size) {
  if (size != 0 && count > SIZE_MAX / size) return nullptr;
  void* block = __wrap_malloc(count * size);
  if (block != nullptr) std::memset(block, 0, count * size);
  return block;
}

void* __wrap_realloc(void* block, std::size_t size) {
  noteSize(size);
  if (FailingAllocation::isDue()) return nullptr;
  const bool counts = noteGiven(block) || block == nullptr;
  void* fresh = __real_realloc(block, size);
  if (counts) noteTaken(fresh != nullptr || size == 0 ? fresh : block);
  return fresh;
}

void __wrap_free(void* block) {
  noteGiven(block);
  __real_free(block);
}

// Every form but the aligned ones: that they come down to the first is true of the standard
// library, but not of a sanitizer's.

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return __wrap_malloc(size != 0 ? size : 1);
}

void* operator new(std::size_t size) {
  void* block = operator new(size, std::nothrow);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void* operator new[](std::size_t size) {
  return operator new(size);
}

void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  return operator new(size, tag);
}

void operator delete(void* block) noexcept {
  __wrap_free(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept {
  __wrap_free(block);
}

void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept {
  __wrap_free(block);
}

void operator delete[](void* block) noexcept {
  __wrap_free(block);
}

void operator delete[](void* block, std::size_t /*size*/) noexcept {
  __wrap_free(block);
}

void operator delete[](void* block, const std::nothrow_t& /*tag*/) noexcept {
  __wrap_free(block);
}

// NOLINTEND(bugprone-reserved-identifier,misc-new-delete-overloads)
