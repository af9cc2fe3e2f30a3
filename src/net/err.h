// Declarations that all operations of the networking library share: results, errors, and the
// export attribute.
#ifndef MTLLIB_NET_ERR_H_
#define MTLLIB_NET_ERR_H_

#include <cstddef>
#include <cstdint>

#include "mtllib/error_chain.h"

#ifdef _WIN32
#ifdef KRELL_NETWORKING_BUILD
#define KRELL_EXPORT __declspec(dllexport)
#else
// Only functions are exported, and those need no import attribute: the same objects link
// with the library and with a stand-in for it.
#define KRELL_EXPORT
#endif
#else
#define KRELL_EXPORT __attribute__((visibility("default")))
#endif

/// The networking library's truth value: 0 is false.
using krbool = std::int32_t;

namespace Krell {

/// Where the networking library's operations report their failure. A caller makes one
/// empty and looks at `chain` afterwards; its destructor releases the chain.
struct Err {
  std::uint64_t reserved = 0;  ///< Set to 0 and never read by callers.
  ErrorChain chain;
};

static_assert(sizeof(Err) == 16, "two 64-bit words");
static_assert(offsetof(Err, chain) == 8, "record layout");

}  // namespace Krell

#endif  // MTLLIB_NET_ERR_H_
