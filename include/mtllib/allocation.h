/// @file
/// The allocation functions behind every record that crosses the library's
/// boundary: the C runtime's own, under names that say so.
#ifndef MTLLIB_ALLOCATION_H_
#define MTLLIB_ALLOCATION_H_

#include <cstddef>
#include <cstdlib>

namespace QUtils {

/// @name Thin wrappers over the C runtime's malloc, realloc and free
/// Same arguments, same results, no header of their own. A block obtained here is
/// released by the qfree of the *same* module; records that travel between modules
/// therefore carry the functions that resize and free them (see CharStringBuffer and
/// ErrorRecord).
/// @{

/// As malloc.
inline void* qmalloc(std::size_t size) {
  return std::malloc(size);
}

/// As realloc.
inline void* qrealloc(void* block, std::size_t size) {
  return std::realloc(block, size);
}

/// As free.
inline void qfree(void* block) {
  std::free(block);
}

/// @}

}  // namespace QUtils

#endif  // MTLLIB_ALLOCATION_H_
