// Starts and stops the networking library.
#ifndef MTLLIB_NET_CONTEXT_H_
#define MTLLIB_NET_CONTEXT_H_

#include "mtllib/char_string.h"
#include "net/err.h"

namespace Krell {
namespace Networking {

/// How connections verify their peer; the networking library's own.
struct ClientSSLConfiguration;

/// The process's default context.
struct KrellNetworkingContext {
  void* reserved;
  /// The configuration of TLS clients; null while the library is not initialised.
  const ClientSSLConfiguration* clientSsl;
};

/// Holds one reference to the default context between initializeDefault() and
/// deinitialize(). Written in place by its owner, so the layout is fixed.
class NetworkingContextInitializerRAII {
 public:
  enum Flags : std::uint32_t {
    kInitialized = 0x2,  ///< This object holds a reference; set by initializeDefault().
    kClosing = 0x10000   ///< Set by the owner before deinitialize().
  };

  /// The interface version that `version` must name: 1.0.
  static constexpr std::uint32_t kVersion = 0x10000;

  /// Initialises the default context, or takes another reference to it. `name` is for
  /// diagnosis. On failure returns 0 and says why in `error`.
  KRELL_EXPORT krbool initializeDefault(const char* name, QUtils::CharString& error);

  /// Drops the reference, if `initialized` says that there is one. The last one ends
  /// the context.
  KRELL_EXPORT void deinitialize(krbool initialized);

  std::uint32_t flags = 0;
  std::uint32_t version = kVersion;
  std::uint64_t context = 0;
};

static_assert(sizeof(NetworkingContextInitializerRAII) == 16, "three words");

/// The default context; never null.
KRELL_EXPORT KrellNetworkingContext* getKrellNetworkingContext();

/// Splits [begin, end), a host optionally followed by a colon and a port of at most
/// 65535. An IPv6 literal stands in brackets, which are dropped. Without a port,
/// `port` is left alone. A text that is neither is taken whole as the host, for
/// HttpClientPool::setServer to refuse, and the result is 0.
KRELL_EXPORT krbool parseServerWithPort(const char* begin, const char* end,
                                        QUtils::CharString& host, int& port);

}  // namespace Networking
}  // namespace Krell

#endif  // MTLLIB_NET_CONTEXT_H_
