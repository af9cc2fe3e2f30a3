// TransferEngine: the one thread behind a pool, which drives libcurl for all clients.
#ifndef KRELL_NETWORKING_TRANSFER_ENGINE_H_
#define KRELL_NETWORKING_TRANSFER_ENGINE_H_

#include <curl/curl.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "evbuffer.h"
#include "header_fields.h"
#include "net/http_client.h"
#include "ssl_configuration.h"
#include "transfer_limits.h"

namespace Krell {
namespace Networking {

/// How the clients of a pool connect; complete before the first request.
struct TransferConfiguration {
  std::string host;
  int port = 0;
  bool tls = false;
  ClientSSLConfiguration ssl;
  std::string proxyHost;  ///< Empty connects directly.
  int proxyPort = 0;
  HeaderFields headers;
  HttpClient::Callbacks callbacks{};
  void* userPointer = nullptr;
  TransferLimits limits = transferLimits();
};

/// Runs the requests of a fixed number of clients on a thread of its own, started with
/// the first request. All connections are kept in one cache, so that a client uses
/// whichever is idle; never more than one a client.
///
/// Hand-over: what callbacks wrote is visible to whoever was told, by waitAvailable() or
/// waitFinished(), that the client is idle. Both sides take the mutex.
class TransferEngine {
 public:
  explicit TransferEngine(HttpClient* clients, int count);
  ~TransferEngine();
  TransferEngine(const TransferEngine&) = delete;
  TransferEngine& operator=(const TransferEngine&) = delete;

  TransferConfiguration& configuration() { return configuration_; }

  /// Queues a GET on an idle client; the reason in `error` when it cannot.
  bool start(int index, const char* path, ReqTokenGeneralType* token, ErrorChain& error);
  void waitFinished(int index);
  /// The index of a client that may be used, -1 when the engine is stopping.
  int waitAvailable();

 private:
  enum class State { kIdle, kRunning, kFinished };
  using Clock = std::chrono::steady_clock;

  struct EasyCleanup {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
  };
  struct MultiCleanup {
    void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
  };
  struct UrlCleanup {
    void operator()(CURLU* url) const { curl_url_cleanup(url); }
  };
  struct ListCleanup {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
  };

  /// One client's transfer. `state` and `finishedAs` are guarded by the mutex; the rest
  /// belongs to the engine's thread while the client runs and to the caller otherwise.
  struct Transfer {
    TransferEngine* engine = nullptr;
    HttpClient* client = nullptr;
    State state = State::kIdle;
    std::uint64_t finishedAs = 0;
    std::unique_ptr<CURL, EasyCleanup> easy;
    ReqTokenGeneralType* token = nullptr;
    bool active = false;
    bool statusReported = false;
    bool headerComplete = false;
    TransferProgress progress{};
    Evbuffer data{};
    std::uint64_t startedAs = 0;
    Clock::time_point lastCallback;
  };

  /// A socket in use.
  struct Socket {
    curl_socket_t handle;
    Transfer* transfer;
  };

  bool prepare(Transfer& transfer, const char* path);
  bool configurePrototype();
  bool buildHeaderList();
  bool launchThread();
  int pickAvailable() const;

  void run();
  bool fallAsleep();
  bool takeRequests();
  void serveTransfers();
  void collectFinished();
  void callIdleClients();
  void finish(Transfer& transfer, CURLcode code);
  bool deliver(Transfer& transfer, const char* bytes, std::size_t size);
  void reportStatus(Transfer& transfer);

  static int onSocket(CURL* easy, curl_socket_t handle, int what, void* engine, void* ofSocket);
  static std::size_t onHeader(char* bytes, std::size_t unit, std::size_t count, void* transfer);
  static std::size_t onBody(char* bytes, std::size_t unit, std::size_t count, void* transfer);

  TransferConfiguration configuration_;
  std::vector<Transfer> transfers_;
  std::unique_ptr<curl_slist, ListCleanup> headerList_;
  std::unique_ptr<CURLU, UrlCleanup> url_;
  std::unique_ptr<CURL, EasyCleanup> prototype_;  ///< Configured; never in flight.
  // Of the engine's thread alone; the multi handle tells of sockets to its end.
  std::vector<Socket> sockets_;  ///< Those of the oldest transfer first.
  std::vector<Socket> served_;
  std::uint64_t startedCount_ = 0;
  std::unique_ptr<CURLM, MultiCleanup> multi_;
  std::thread thread_;

  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Transfer*> pending_;
  std::uint64_t finishedCount_ = 0;
  int waiting_ = 0;
  bool asleep_ = false;
  bool stopping_ = false;
};

}  // namespace Networking
}  // namespace Krell

#endif  // KRELL_NETWORKING_TRANSFER_ENGINE_H_
