// Finds the place of a virtual function in the table of its class.
#ifndef MTLLIB_TESTS_SUPPORT_VIRTUAL_SLOT_H_
#define MTLLIB_TESTS_SUPPORT_VIRTUAL_SLOT_H_

#include <cstddef>
#include <cstring>

/// The slot of a virtual operation of exactly this type, as the compilers of both systems
/// keep it in a pointer to the operation.
template <typename Function, typename Class>
std::ptrdiff_t slotOf(Function Class::*operation) {
  std::ptrdiff_t representation = 0;
  std::memcpy(&representation, &operation, sizeof(representation));
  return representation / static_cast<std::ptrdiff_t>(sizeof(void*));
}

#endif  // MTLLIB_TESTS_SUPPORT_VIRTUAL_SLOT_H_
