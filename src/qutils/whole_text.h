// Copies texts so that running out of memory is reported rather than losing part of the text.
#ifndef MTLLIB_QUTILS_WHOLE_TEXT_H_
#define MTLLIB_QUTILS_WHOLE_TEXT_H_

#include <cstdint>
#include <new>
#include <string_view>

#include "mtllib/char_string.h"

namespace QUtils {

/// A copy of `text`, up to a zero byte. Throws std::bad_alloc when memory runs out: a
/// CharString alone would become empty, and a path, a host or a proxy that is empty means
/// another one, or none. So such texts are put together in standard strings and end here.
inline CharString wholeText(std::string_view text) {
  CharString copy;
  copy.assign(text.data(), static_cast<std::int64_t>(text.size()));
  if (copy.empty() && !text.empty() && text.front() != '\0') throw std::bad_alloc();
  return copy;
}

}  // namespace QUtils

#endif  // MTLLIB_QUTILS_WHOLE_TEXT_H_
