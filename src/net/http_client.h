// HttpClient and HttpClientPool: a pool has a fixed number of HTTP clients for one server.
#ifndef MTLLIB_NET_HTTP_CLIENT_H_
#define MTLLIB_NET_HTTP_CLIENT_H_

#include "mtllib/transfer_progress.h"
#include "net/buffer.h"
#include "net/context.h"
#include "net/err.h"
#include "net/headers.h"

namespace Krell {
namespace Networking {

class HttpClient;
class TransferEngine;

/// Identifies a request to the library; unused by callers that pass null.
struct ReqIDGeneralType;

/// An address to bind to; only null is supported.
struct IP;

/// Why a request failed, as passed to the error callback.
struct ConnectionError {
  /// Low 12 bits: ConnectionErrorReason. Upper 20: ConnectionErrorFlags.
  std::uint32_t code;
  /// An operating system's error number, an HttpRule or a CURLcode, as the flags say.
  std::int32_t underlying;
};

static_assert(sizeof(ConnectionError) == 8, "two 32-bit words");

/// What is wrong with a certificate, as far as that is known.
enum class CertificateProblem : std::uint32_t {
  kUnknown,           ///< None is known.
  kUnknownAuthority,  ///< Nobody who is trusted has signed it.
  kNotValidNow,       ///< It has expired, or is not valid yet.
  kOtherName,         ///< It is for another server.
  kNoAuthorities      ///< The file of trusted authorities cannot be read.
};

/// What more is known about a request that failed than its ConnectionError says.
struct FailureDetail {
  CertificateProblem certificate = CertificateProblem::kUnknown;
  /// The HTTP status with which a proxy refused a tunnel, else 0.
  std::int32_t proxyStatus = 0;
  /// The connection stood when the request failed.
  bool wasConnected = false;
};

/// What a callback learns of where it was called.
struct CallbackContext {
  HttpClient* client;
  void* userPointer;  ///< As given to HttpClientPool::setCallbacks.
};

/// The response being received; valid during a data callback.
class Response {
 public:
  /// Moves the bytes that arrived since the last call into `buffer`.
  KRELL_EXPORT krbool getResponseData(Buffer& buffer);

  struct Bytes {
    const char* data;
    std::size_t size;
  };
  /// The same bytes without a buffer: they stay where they are until the callback returns.
  KRELL_EXPORT Bytes takeBytes();

  Evbuffer* data = nullptr;
};

/// One client: one request at a time.
class HttpClient {
 public:
  /// Called on the library's thread, one call at a time for all clients of a pool:
  /// `onData` before anything is sent, for each piece of the body, and at least ten
  /// times a second while the request runs; `onStatus` once per response, before the
  /// body; and last `onError`, if the request failed otherwise than through the abort
  /// flag. They are not to throw: a request whose callback does so fails with
  /// CONNECTION_ERROR_MEMORY, whatever was thrown.
  struct Callbacks {
    std::int32_t flags;  ///< kSerialized
    void (*onSent)(CallbackContext* context, ReqTokenGeneralType* token);
    void (*onStatus)(CallbackContext* context, ReqTokenGeneralType* token,
                     const std::uint32_t* status);
    void (*onData)(CallbackContext* context, ReqTokenGeneralType* token, TransferProgress* progress,
                   Response* response);
    void (*onError)(CallbackContext* context, const ConnectionError* error,
                    ReqTokenGeneralType* token);
    void (*reserved1)();
    void (*reserved2)();
  };

  /// Values of Callbacks::flags.
  enum CallbackFlags : std::int32_t {
    kSerialized = 64  ///< The caller relies on callbacks that never overlap.
  };

  enum Method : unsigned {
    kGet = 1,
    kHead = 2  ///< For requests with RequestOptions alone.
  };

  /// What a request may ask for beside a path.
  struct RequestOptions {
    /// Sent as it stands: begins with '/', holds neither spaces nor control characters.
    const char* path = nullptr;
    Method method = kGet;
    ReqTokenGeneralType* token = nullptr;  ///< Handed to the callbacks.
    std::int64_t firstByte = -1;           ///< Of the range asked for; -1 for the whole.
    std::int64_t lastByte = -1;            ///< -1 for the last one there is.
    /// Sent after those of the pool; read before request() returns.
    const Headers* fields = nullptr;
    /// A longer body is a CONNECTION_ERROR_LIMIT, of which not a byte more than these is
    /// delivered, and none when its length says so; -1 for any length.
    std::int64_t mostBodyBytes = -1;
  };

  /// Called on the library's thread when a request has finished and its other callbacks have
  /// returned. It may start the client's next request, which then needs no other thread;
  /// unless it does, the client is idle when it returns. It must not throw, wait for
  /// clients, or destroy the pool.
  using CompletionCallback = void (*)(CallbackContext* context, ReqTokenGeneralType* token);

  /// Called on the library's thread for each field in the header of an answer, before
  /// onStatus: the name in lower case, the value without spaces around it. Interim answers
  /// and trailers are left out, and names of more than 31 and values of more than 1,023 bytes.
  /// It must not throw.
  using FieldCallback = void (*)(CallbackContext* context, ReqTokenGeneralType* token,
                                 const char* name, const char* value);

  struct Room {
    char* bytes;
    std::size_t size;
  };
  /// Called on the library's thread before more of a body with a length is received: gives memory
  /// for it, or none. The next data callback with bytes has them there, or the request has ended;
  /// from then on the memory is not used any longer. It must not throw.
  using RoomCallback = Room (*)(CallbackContext* context, ReqTokenGeneralType* token);

  /// Starts a GET of `path`, which is sent as it stands: it must begin with '/' and hold
  /// neither spaces nor control characters. `token` is handed to the callbacks. `body`
  /// and `id` must be null. Returns 0, with the reason in `err`, when nothing was
  /// started.
  KRELL_EXPORT krbool request(Err& err, const char* path, unsigned method,
                              ReqTokenGeneralType* token, Buffer* body, ReqIDGeneralType** id);

  /// Starts a request that asks for more than a path. Returns 0, with the reason in `err`,
  /// when nothing was started.
  KRELL_EXPORT krbool request(Err& err, const RequestOptions& options);

  /// Waits until the client's request has finished and its callbacks have returned,
  /// whose writes are then visible to the caller. `id` must be null.
  KRELL_EXPORT krbool waitForRequestCompletion(ReqIDGeneralType* id);

  /// Of the request that failed last. Within the error callback, or while the client is idle.
  KRELL_EXPORT FailureDetail failureDetail() const;

 private:
  friend class HttpClientPool;
  TransferEngine* engine_ = nullptr;
  std::int32_t index_ = 0;
};

/// Five, or any fixed number of, clients for one server. Configure the pool before the
/// first request. One thread at a time uses a pool and its clients, except destroy().
class HttpClientPool {
 public:
  enum Mode : unsigned {
    kBackground = 2  ///< Transfers run on the library's own thread.
  };

  KRELL_EXPORT krbool initialize(int clientCount);
  KRELL_EXPORT krbool setMode(Err& err, unsigned mode);
  KRELL_EXPORT krbool setServer(Err& err, const char* host, int port, IP* bindTo);
  /// Turns on TLS.
  KRELL_EXPORT krbool setSSLContext(Err& err, const ClientSSLConfiguration* configuration);
  /// Trusts the authorities in this file (PEM) and no others. After setSSLContext().
  KRELL_EXPORT krbool setTrustedAuthorities(Err& err, const char* file);
  /// Plain HTTP to the proxy, CONNECT through it for TLS; null connects directly.
  KRELL_EXPORT krbool setProxyServer(Err& err, const char* host, int port);
  /// Shows them to the proxy (Basic); an empty user, as at first, shows nothing.
  KRELL_EXPORT krbool setProxyCredentials(Err& err, const char* user, const char* password);
  /// Limits the time for connecting, and for an answer that stalls. 0 leaves a limit as it
  /// is.
  KRELL_EXPORT krbool setTimeLimits(Err& err, int connectMilliseconds, int stallSeconds);
  KRELL_EXPORT krbool setCallbacks(Err& err, const HttpClient::Callbacks& callbacks,
                                   void* userPointer);
  /// Sends a copy of the fields with every request; with `append` beside those set
  /// before, else instead of them.
  KRELL_EXPORT krbool setHeaders(Err& err, Headers& headers, krbool append);

  /// Calls `callback` for every request that has finished; null for none. It gets the user
  /// pointer of setCallbacks().
  KRELL_EXPORT krbool setCompletionCallback(Err& err, HttpClient::CompletionCallback callback);
  /// Gives `callback` the fields of all answers; null for nobody, as at first. It gets the
  /// user pointer of setCallbacks().
  KRELL_EXPORT krbool setFieldCallback(Err& err, HttpClient::FieldCallback callback);
  /// Receives bodies where `callback` says, which spares callers that keep them a copy; null for
  /// memory of its own, as at first. It gets the user pointer of setCallbacks().
  KRELL_EXPORT krbool setRoomCallback(Err& err, HttpClient::RoomCallback callback);
  /// Receives at most so many bytes a second for all clients together, headers included; 0
  /// for no limit.
  // Not std::int64_t, whose mangled name differs between systems.
  KRELL_EXPORT krbool setRateLimit(Err& err, long long bytesPerSecond);

  /// Blocks until a client is idle: its request finished, its callbacks returned, and
  /// their writes visible to the caller. Hands out the lowest client that holds no
  /// finished request, or else the one that finished first. Null when the pool is
  /// being destroyed.
  KRELL_EXPORT HttpClient* waitAvailable(int* index);

  /// The client with this index, 0 to the count less 1.
  HttpClient& client(int index) { return clients_[index]; }

  /// Ends running transfers at once, then stops and frees the clients. No callback is
  /// called after it returned.
  KRELL_EXPORT void destroy();

 private:
  TransferEngine* engine(Err& err, const char* tag) const;

  HttpClient* clients_ = nullptr;
  std::int32_t clientCount_ = 0;
  std::int32_t mode_ = -1;
};

static_assert(sizeof(HttpClientPool) == 16, "a pointer and two 32-bit words");
static_assert(sizeof(HttpClient::Callbacks) == 7 * sizeof(void*), "record layout");

}  // namespace Networking
}  // namespace Krell

#endif  // MTLLIB_NET_HTTP_CLIENT_H_
