// An HttpGetter is the downloader's pool of five HTTP clients, with what each of them is fetching.
#ifndef MTLLIB_HTTP_HTTP_GETTER_H_
#define MTLLIB_HTTP_HTTP_GETTER_H_

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "mtllib/char_string.h"
#include "mtllib/downloader_settings.h"
#include "mtllib/error_chain.h"
#include "mtllib/host_callback.h"
#include "net/http_client.h"
#include "qutils/stream.h"

/// Clients of the pool, and so the most transfers in flight.
constexpr int kHttpClientCount = 5;

/// The request on one client; all zero when idle.
///
/// Written by the callbacks of its own client while in flight, by the downloader's
/// thread only while the networking library holds the client idle.
struct RequestSlot {
  std::uint32_t busy;  ///< 1 while an issued request has not been collected.
  std::uint32_t tag;   ///< The caller's tag, returned in the completion record.
  ErrorChain error;
  std::uint32_t status;       ///< HTTP status; 0 until one arrived.
  std::int64_t expectedSize;  ///< As given by the caller; 0 when unknown.
  std::int64_t bytesWritten;  ///< Bytes of the body already in the stream.
  QUtils::PStream* stream;    ///< Receives the body; not owned.
};

/// What became of one request; the caller's.
struct HttpDldDone {
  std::uint32_t tag = 0;
  ErrorChain error;          ///< Empty when the transport succeeded.
  std::uint32_t status = 0;  ///< HTTP status; 0 when none arrived.

  void clear();

  /// Turns every status but 200 into an error, unless there is one already.
  void expectStatus();
};

/// Fetches over a pool of clients that share one server. A qmalloc block made by
/// makeHttpGetter() and ended by destroyHttpGetter().
struct HttpGetter {
  explicit HttpGetter(HostCallback* hostCallback);

  /// Starts the accounting of a new batch of downloads and shows its caption.
  /// `total`: the bytes expected; 0 shows no figures.
  void beginBatch(std::int64_t total, const char* caption);

  /// Blocks until a client is free and writes its index. If a finished request was
  /// still on it, `hadCompletion` becomes 1 and `done` receives it.
  ErrorChain waitAvailable(int& index, std::uint32_t& hadCompletion, HttpDldDone& done);

  /// Starts a GET of `path` into `stream` on the free client `index`; does not wait.
  ErrorChain issueRequest(int index, const char* path, QUtils::PStream* stream, std::uint32_t tag,
                          std::int64_t expectedSize);

  /// Waits for one request in flight and collects it into `done`. Returns its client's
  /// index, -1 when none is in flight.
  int waitForRequestCompletion(HttpDldDone& done);

  /// Reports new progress to the host: thousandths, then megabytes.
  void updateProgress();
  /// Shows the caption with the megabytes so far, if they changed.
  void updateMegabytes();

  static void responseSentCb(Krell::Networking::CallbackContext* context,
                             Krell::Networking::ReqTokenGeneralType* token);
  static void responseStatusCb(Krell::Networking::CallbackContext* context,
                               Krell::Networking::ReqTokenGeneralType* token,
                               const std::uint32_t* status);
  static void responseProgressCb(Krell::Networking::CallbackContext* context,
                                 Krell::Networking::ReqTokenGeneralType* token,
                                 Krell::Networking::TransferProgress* progress,
                                 Krell::Networking::Response* response);
  static void responseErrorCb(Krell::Networking::CallbackContext* context,
                              const Krell::Networking::ConnectionError* error,
                              Krell::Networking::ReqTokenGeneralType* token);

  RequestSlot requestSlots[kHttpClientCount];
  HostCallback* callback;                   ///< Not owned.
  std::int64_t totalBytes;                  ///< Expected bytes of the current batch.
  std::atomic<std::int64_t> receivedBytes;  ///< Added to by the callbacks.
  QUtils::CharString phaseText;             ///< Caption of the current batch.
  std::int32_t lastPermille;                ///< Last figure reported.
  std::uint32_t lastMegabytes;              ///< Last figure reported.
  Krell::Networking::HttpClient::Callbacks callbacks;
  Krell::Networking::HttpClientPool pool;
};

/// Makes a getter for the remote address of the settings, through the proxy that they choose,
/// and sets `remotePath` to the path part of that address, unless it has none. Null after a
/// failure, which the callback received.
HttpGetter* makeHttpGetter(DownloaderSettings& settings, HostCallback& callback,
                           QUtils::CharString& remotePath);

/// Ends the pool, whose callbacks are then over, and destroys the getter; frees its
/// memory too when `freeMemory`.
void destroyHttpGetter(HttpGetter* getter, bool freeMemory);

#endif  // MTLLIB_HTTP_HTTP_GETTER_H_
