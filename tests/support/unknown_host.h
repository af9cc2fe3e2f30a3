// The name of a host that cannot be resolved, for tests that must not use the network.
#ifndef MTLLIB_TESTS_SUPPORT_UNKNOWN_HOST_H_
#define MTLLIB_TESTS_SUPPORT_UNKNOWN_HOST_H_

#include <string>

/// A part of a name has at most 63 characters: of one with more no server is asked.
inline const std::string kUnknownHost = std::string(64, 'n') + ".invalid";

#endif  // MTLLIB_TESTS_SUPPORT_UNKNOWN_HOST_H_
