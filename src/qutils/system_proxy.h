// Reads the user's Internet proxy settings.
#ifndef MTLLIB_QUTILS_SYSTEM_PROXY_H_
#define MTLLIB_QUTILS_SYSTEM_PROXY_H_

#include <cstdint>
#include <vector>

#include "mtllib/char_string.h"
#include "mtllib/error_chain.h"

namespace QUtils {

struct SystemProxySettings {
  std::uint32_t enabled = 0;  ///< 1 when a proxy is to be used at all.
  /// Proxy addresses beginning "http://", or empty.
  CharString httpProxy;
  CharString httpsProxy;
  CharString ftpProxy;
  /// The patterns of hosts that are reached directly, as last read; it stays when a later
  /// reading finds none, so only the list decides.
  CharString bypassText;
  std::vector<CharString> bypassList;  ///< The patterns, one an entry.
};

/// Fills `out` with the settings as they were when first read in this process; with `force`
/// they are read again. `out` is filled on failure too, with what could be read.
///
/// May be called by several threads at once. Throws std::bad_alloc when memory runs out; the next
/// call reads again.
ErrorChain readSystemProxySettings(SystemProxySettings& out, bool force);

}  // namespace QUtils

#endif  // MTLLIB_QUTILS_SYSTEM_PROXY_H_
