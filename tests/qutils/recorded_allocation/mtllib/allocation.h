// Stands in for the header of the same name: the same functions, which write down every
// call, know every block, and fail on demand.
#ifndef MTLLIB_ALLOCATION_H_
#define MTLLIB_ALLOCATION_H_

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

/// What was asked of the allocation functions. Used by one thread.
struct AllocationRecord {
  /// "malloc 32", "realloc 4 to 7", "free 7", with "null" for no block; a call that
  /// failed ends in " fails".
  static inline std::vector<std::string> calls;
  /// The blocks that were not freed, and their sizes.
  static inline std::map<void*, std::size_t> live;
  /// Blocks that are still given out before one is refused; negative for no end.
  static inline int allowance = -1;

  static bool refuses() {
    if (allowance != 0) {
      if (allowance > 0) --allowance;
      return false;
    }
    calls.back() += " fails";
    return true;
  }

  /// The size of `block`, which is taken out of the record.
  static std::string take(void* block) {
    if (block == nullptr) return "null";
    const auto found = live.find(block);
    if (found == live.end()) {
      ADD_FAILURE() << "no live block of the library";
      return "unknown";
    }
    std::string size = std::to_string(found->second);
    live.erase(found);
    return size;
  }
};

namespace QUtils {

inline void* qmalloc(std::size_t size) {
  AllocationRecord::calls.push_back("malloc " + std::to_string(size));
  if (AllocationRecord::refuses()) return nullptr;
  void* block = std::malloc(size);
  AllocationRecord::live[block] = size;
  return block;
}

inline void* qrealloc(void* block, std::size_t size) {
  const auto old = AllocationRecord::live.find(block);
  const std::size_t oldSize = old != AllocationRecord::live.end() ? old->second : 0;
  AllocationRecord::calls.push_back("realloc " + AllocationRecord::take(block) + " to " +
                                    std::to_string(size));
  if (AllocationRecord::refuses()) {
    if (block != nullptr) AllocationRecord::live[block] = oldSize;
    return nullptr;
  }
  void* resized = std::realloc(block, size);
  AllocationRecord::live[resized] = size;
  return resized;
}

inline void qfree(void* block) {
  AllocationRecord::calls.push_back("free " + AllocationRecord::take(block));
  std::free(block);
}

}  // namespace QUtils

#endif  // MTLLIB_ALLOCATION_H_
