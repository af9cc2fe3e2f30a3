// The name of a host that no system knows, for tests that may not ask the network for one.
#ifndef MTLLIB_TESTS_SUPPORT_UNKNOWN_HOST_H_
#define MTLLIB_TESTS_SUPPORT_UNKNOWN_HOST_H_

#include <string>

/// A part of a name has at most 63 characters: of one with more no server is asked.
inline const std::string kUnknownHost = std::string(64, 'n') + ".invalid";

#endif  // MTLLIB_TESTS_SUPPORT_UNKNOWN_HOST_H_
