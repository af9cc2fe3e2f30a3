// Splits an address of a server or a proxy into scheme, host, port and path.
#ifndef MTLLIB_HTTP_ADDRESS_H_
#define MTLLIB_HTTP_ADDRESS_H_

#include "mtllib/char_string.h"

/// What an address says. Nothing is checked here beyond the scheme.
struct Address {
  enum Kind { kUnknown = 0, kHttp = 1, kHttps = 2 };

  Kind kind = kHttp;  ///< kHttp also when no scheme is given.
  QUtils::CharString host;
  int port = -1;            ///< Negative when none is given.
  QUtils::CharString path;  ///< From the first '/' on; empty when there is none.
};

/// Throws std::bad_alloc when memory runs out: without one of its texts an address is another.
Address splitAddress(const char* text);

#endif  // MTLLIB_HTTP_ADDRESS_H_
