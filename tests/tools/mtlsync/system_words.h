// Expected texts that are the system's own.
#ifndef MTLLIB_TESTS_TOOLS_MTLSYNC_SYSTEM_WORDS_H_
#define MTLLIB_TESTS_TOOLS_MTLSYNC_SYSTEM_WORDS_H_

#include <string>

#include "rules/printable.h"
#include "support/system_text.h"

/// Of the numbers 111 and 104, which mean something else on Windows.
inline std::string refusedText() {
  return mtlrules::printableLine(systemText(111, "Connection refused"));
}
inline std::string resetText() {
  return mtlrules::printableLine(systemText(104, "Connection reset by peer"));
}

/// Why a library could not be loaded that does not exist.
inline std::string missingText(const std::string& file) {
  const std::string reason =
      systemText(126, "cannot open shared object file: No such file or directory");
  return file + ": " + mtlrules::printableLine(reason);
}

#endif  // MTLLIB_TESTS_TOOLS_MTLSYNC_SYSTEM_WORDS_H_
