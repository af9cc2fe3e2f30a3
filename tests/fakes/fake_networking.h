// A fake of the networking library for tests: no sockets, no threads, every answer is scripted
// and every call recorded.
#ifndef MTLLIB_TESTS_FAKES_FAKE_NETWORKING_H_
#define MTLLIB_TESTS_FAKES_FAKE_NETWORKING_H_

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "net/http_client.h"

/// What a client makes of one request.
struct FakeResponse {
  std::uint32_t status = 200;       ///< 0: no status arrives.
  std::vector<std::string> pieces;  ///< A data callback each; "" brings no new bytes.
  /// How the transfer ends, if not well; told after the pieces.
  std::optional<Krell::Networking::ConnectionError> error;
  int callsBeforeStatus = 0;  ///< Data callbacks without bytes before anything arrived.
};

/// The networking library of this process while the object lives; one at a time.
///
/// Nothing happens on its own. A request runs until a client is asked for and none is
/// idle, or until its own client is waited for: then running requests finish, one after
/// the other and each with all its callbacks, until there is what was asked for. They
/// finish in the order in which they were issued, unless finishInOrder() says otherwise.
class FakeNetwork {
 public:
  FakeNetwork();
  ~FakeNetwork();
  FakeNetwork(const FakeNetwork&) = delete;
  FakeNetwork& operator=(const FakeNetwork&) = delete;

  /// The answer to every request of `path` from now on. A path without one is answered
  /// with status 404 and no body.
  void respond(const std::string& path, const FakeResponse& response);
  /// Status 200 and the body in one piece.
  void respond(const std::string& path, const std::string& body);

  /// Requests of `path` are refused with `text`, tagged "HttpClient::request".
  void refuseRequest(const std::string& path, const std::string& text);

  /// Requests of these paths finish before all others, in this order.
  void finishInOrder(const std::vector<std::string>& paths);

  /// The set-up call `operation` ("setServer") fails with `text` and code -1, tagged
  /// "HttpClientPool::setServer".
  void failSetup(const std::string& operation, const std::string& text);

  /// The set-up call `operation` returns `result`, whatever it leaves in its error.
  void answerSetup(const std::string& operation, krbool result);

  /// Requests are started, but leave `text` as an error, tagged "HttpClient::request".
  void complainAboutRequests(const std::string& text);

  /// initializeDefault() fails and gives `text`, or no text at all when it is null.
  void failInitialization(const char* text);

  /// The `call`th call of waitAvailable from now on, and every one after it, finds the
  /// pool shutting down; 1 is the next one.
  void shutDownAtWait(int call);

  /// Every call with its arguments: "setServer(\"h\", 80, null)".
  const std::vector<std::string>& log() const { return log_; }
  /// The paths of the requests that were started.
  const std::vector<std::string>& requests() const { return requests_; }
  void clearLog();

  /// Told of every call, before it has an effect: those of the log, what becomes of header
  /// lists ("Headers()", "internalSet(...)", "~Headers()"), and the texts parsed
  /// ("parseServerWithPort(\"h:80\")").
  std::function<void(const std::string& call)> onCall;

  /// As last given to setCallbacks().
  const Krell::Networking::HttpClient::Callbacks& callbacks() const { return callbacks_; }
  void* userPointer() const { return userPointer_; }

  /// Calls the data callback, as if `bytes` had just arrived for the request `token`. The
  /// caller keeps `progress` up to date. True when the callback took the bytes.
  bool deliverData(Krell::Networking::ReqTokenGeneralType* token,
                   Krell::Networking::TransferProgress& progress, const std::string& bytes);

  /// Used by the library's operations.
  static FakeNetwork& current();
  void write(const std::string& call);
  void tell(const std::string& call);
  krbool resultOfSetup(const std::string& operation, Krell::Err& err);
  bool requestSucceeds(const std::string& path, Krell::Err& err);
  bool isShutDown();
  const char* initializationText() const { return initializationText_; }
  bool initializationFails() const { return initializationFails_; }
  void keepCallbacks(const Krell::Networking::HttpClient::Callbacks& callbacks, void* userPointer);
  FakeResponse responseTo(const std::string& path) const;
  /// Lower ranks finish first.
  std::size_t rankOf(const std::string& path) const;

 private:
  std::map<std::string, FakeResponse> responses_;
  std::map<std::string, std::string> refusals_;
  std::map<std::string, std::string> setupFailures_;
  std::map<std::string, krbool> setupAnswers_;
  std::string complaint_;
  std::vector<std::string> finishOrder_;
  const char* initializationText_ = nullptr;
  bool initializationFails_ = false;
  int waitsLeft_ = -1;
  std::vector<std::string> log_;
  std::vector<std::string> requests_;
  Krell::Networking::HttpClient::Callbacks callbacks_{};
  void* userPointer_ = nullptr;
};

#endif  // MTLLIB_TESTS_FAKES_FAKE_NETWORKING_H_
