/// @file
/// The functions that allocate and free every record that crosses the library's boundary: those of
/// the C runtime, under names that say so.
///
/// @since 1.0
#ifndef MTLLIB_ALLOCATION_H_
#define MTLLIB_ALLOCATION_H_

#include <cstddef>
#include <cstdlib>

namespace QUtils {

/// @name Thin wrappers over the C runtime's malloc, realloc and free
/// They have the arguments and results of those functions. A block that is allocated here is
/// released by the qfree of the *same* module; records that travel between modules therefore carry
/// the functions that resize and free them (see CharStringBuffer and ErrorRecord).
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
