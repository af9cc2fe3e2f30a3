// A TransferEngine is the thread behind a pool, which runs the exchanges of all its clients.
#ifndef KRELL_NETWORKING_TRANSFER_ENGINE_H_
#define KRELL_NETWORKING_TRANSFER_ENGINE_H_

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "answer.h"
#include "connection.h"
#include "evbuffer.h"
#include "header_fields.h"
#include "net/http_client.h"
#include "pace.h"
#include "request_text.h"
#include "transfer_limits.h"

namespace Krell {
namespace Networking {

/// How the clients of a pool connect; complete before the first request.
struct TransferConfiguration : Peer {
  HeaderFields headers;
  HttpClient::Callbacks callbacks{};
  HttpClient::CompletionCallback onComplete = nullptr;
  HttpClient::FieldCallback onField = nullptr;
  HttpClient::RoomCallback onRoom = nullptr;
  void* userPointer = nullptr;
  std::int64_t bytesPerSecond = 0;  ///< 0 for no limit.
  TransferLimits limits = transferLimits();
};

/// Runs the requests of a fixed number of clients on a thread of its own, started with
/// the first request. A request takes whichever connection is idle; there is never more than
/// one a client. All of them are opened with the second request.
///
/// Visibility: what callbacks wrote is visible to whoever learns, from waitAvailable() or
/// waitFinished(), that the client is idle. Both sides lock the mutex.
class TransferEngine : private Connection::Watch {
 public:
  explicit TransferEngine(HttpClient* clients, int count);
  ~TransferEngine() override;
  TransferEngine(const TransferEngine&) = delete;
  TransferEngine& operator=(const TransferEngine&) = delete;

  TransferConfiguration& configuration() { return configuration_; }

  /// Queues a request on an idle client; the reason in `error` when it cannot.
  bool start(int index, const HttpClient::RequestOptions& options, ErrorChain& error);
  bool start(int index, const char* path, ReqTokenGeneralType* token, ErrorChain& error);
  void waitFinished(int index);
  /// The index of a client that may be used, -1 when the engine is stopping.
  int waitAvailable();
  FailureDetail failureDetail(int index) const {
    return transfers_[static_cast<std::size_t>(index)].detail;
  }

 private:
  static constexpr std::size_t kBufferSize = Connection::kMostAtOnce;
  /// Received for one request before the others are looked at: more is on its way.
  static constexpr std::size_t kManyBytes = kBufferSize / 4;

  enum class State { kIdle, kRunning, kFinished };
  struct Link;

  /// One client's request. `state` and `finishedAs` are guarded by the mutex; the rest
  /// belongs to the engine's thread while the client runs and to the caller otherwise.
  struct Transfer : Answer::Reader {
    bool wantsFields() const override { return engine->configuration_.onField != nullptr; }
    void onField(const char* name, const char* value) override;
    void onStatus(int status) override;
    bool onBody(const char* bytes, std::size_t size) override;

    TransferEngine* engine = nullptr;
    HttpClient* client = nullptr;
    State state = State::kIdle;
    std::uint64_t finishedAs = 0;

    ReqTokenGeneralType* token = nullptr;
    std::string request;
    bool toHead = false;
    std::int64_t mostBodyBytes = -1;

    bool active = false;
    bool completing = false;
    bool hasThrown = false;  ///< One of its callbacks.
    bool begun = false;      ///< A byte of the answer has arrived.
    bool mayRetry = false;   ///< The connection is older than the request.
    Link* link = nullptr;
    std::size_t sent = 0;
    Answer answer;
    Pace pace;
    TransferProgress progress{};
    FailureDetail detail;
    Evbuffer data{};
    std::uint64_t startedAs = 0;
    Clock::time_point lastCallback;
  };

  /// One connection and whose it is.
  struct Link {
    Link(CURLM* multi, Connection::Watch& watch) : connection(multi, watch) {}

    Connection connection;
    Transfer* user = nullptr;
    bool mayHaveMore = false;  ///< Received but not taken from TLS yet.
    Clock::time_point deadline;
  };

  /// What came at once, and why it was not more.
  struct Arrived {
    std::size_t size = 0;
    CURLcode code = CURLE_OK;  ///< CURLE_AGAIN when this was all.
    bool isEnd = false;        ///< Of the connection.
  };

  bool isEnding(ErrorChain& error) const;
  bool checkStart(const Transfer& transfer, const HttpClient::RequestOptions& options,
                  ErrorChain& error);
  bool prepare(const HttpClient::RequestOptions& options, Transfer& transfer);
  bool launch();
  int pickAvailable() const;

  // On the engine's thread.
  void run();
  bool takeRequests();
  void begin(Transfer& transfer);
  void attach(Transfer& transfer);
  void use(Link& link, Transfer& transfer);
  void openFor(Transfer& transfer);
  bool open(Link& link);
  void openOthers();
  void connectOpening();
  void finishConnecting(Link& link, CURLcode outcome);
  bool mayGoOn(const Connection& connection) override;

  void wait();
  bool fallAsleep();
  bool isServedNow(const Link& link) const;
  void serve();
  std::size_t serve(Link& link);
  void send(Transfer& transfer);
  std::size_t receive(Transfer& transfer);
  HttpClient::Room roomFor(Transfer& transfer);
  Arrived fill(Connection& connection, char* buffer, std::size_t size);
  void takeResult(Transfer& transfer, Answer::Result result, bool nothingLeft);
  void takeEnd(Transfer& transfer);
  bool isQuiet(Link& link);

  void askHosts();
  void endSlow();
  template <typename Callback>
  static void tell(Transfer& transfer, Callback callback) noexcept;
  bool deliver(Transfer& transfer, const char* bytes, std::size_t size);
  void breakOff(Transfer& transfer, CURLcode code);
  void fail(Transfer& transfer, const ConnectionError& error);
  void report(Transfer& transfer, const ConnectionError& error);
  void drop(Transfer& transfer);
  void finish(Transfer& transfer);

  /// The one whose thread this is.
  static thread_local const TransferEngine* ofThisThread_;

  TransferConfiguration configuration_;
  std::vector<Transfer> transfers_;
  RequestText requestText_;
  EasyHandle connector_;
  std::unique_ptr<char[]> buffer_;
  MultiHandle multi_;

  // Of the engine's thread alone.
  std::deque<Link> links_;  ///< They go before the multi handle.
  std::vector<Transfer*> taken_;
  std::vector<curl_waitfd> polled_;
  std::vector<Link*> served_;
  std::uint64_t startedCount_ = 0;
  Clock::time_point now_;
  Clock::time_point lastFullRound_;
  RateLimit rate_;
  std::thread thread_;

  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Transfer*> pending_;
  std::uint64_t finishedCount_ = 0;
  int waiting_ = 0;
  bool asleep_ = false;
  std::atomic<bool> stopping_{false};  ///< Written under the mutex.
};

}  // namespace Networking
}  // namespace Krell

#endif  // KRELL_NETWORKING_TRANSFER_ENGINE_H_
