// Converts the keys in a host's settings into those that the engine takes.
#ifndef MTLLIB_HOST_SRC_TRUST_H_
#define MTLLIB_HOST_SRC_TRUST_H_

#include <optional>

#include "mtlhost/trust.h"
#include "update/trust.h"

namespace mtlhost {

/// Empty, with the reason in `problem`, when a key cannot be used.
std::optional<mtlupdate::TrustOptions> trustOptionsOf(const TrustSettings& settings,
                                                      Errors& problem);

}  // namespace mtlhost

#endif  // MTLLIB_HOST_SRC_TRUST_H_
