// The pool's clients as a table of states; callbacks are called by whoever waits.
#include "fakes/fake_networking.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <utility>

#include "evbuffer.h"
#include "header_fields.h"
#include "plugin/error_chain.h"
#include "ssl_configuration.h"
#include "support/counting_allocator.h"

using Pause = FailingAllocation::Pause;

namespace {

FakeNetwork* currentNetwork = nullptr;

std::string quoted(const char* text) {
  return text != nullptr ? "\"" + std::string(text) + "\"" : "null";
}

const char* nullOrNot(const void* pointer) {
  return pointer != nullptr ? "not null" : "null";
}

std::string hexadecimal(std::uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof(text), "0x%x", value);
  return text;
}

}  // namespace

FakeNetwork::FakeNetwork() {
  EXPECT_EQ(currentNetwork, nullptr) << "one network at a time";
  currentNetwork = this;
}

FakeNetwork::~FakeNetwork() {
  currentNetwork = nullptr;
}

FakeNetwork& FakeNetwork::current() {
  return *currentNetwork;
}

void FakeNetwork::respond(const std::string& path, const FakeResponse& response) {
  responses_[path] = response;
}

void FakeNetwork::respond(const std::string& path, const std::string& body) {
  FakeResponse response;
  response.pieces = {body};
  respond(path, response);
}

void FakeNetwork::refuseRequest(const std::string& path, const std::string& text) {
  refusals_[path] = text;
}

void FakeNetwork::finishInOrder(const std::vector<std::string>& paths) {
  finishOrder_ = paths;
}

void FakeNetwork::failSetup(const std::string& operation, const std::string& text) {
  setupFailures_[operation] = text;
}

void FakeNetwork::answerSetup(const std::string& operation, krbool result) {
  setupAnswers_[operation] = result;
}

void FakeNetwork::complainAboutRequests(const std::string& text) {
  complaint_ = text;
}

void FakeNetwork::failInitialization(const char* text) {
  initializationFails_ = true;
  initializationText_ = text;
}

void FakeNetwork::shutDownAtWait(int call) {
  waitsLeft_ = call - 1;
}

void FakeNetwork::clearLog() {
  log_.clear();
  requests_.clear();
}

void FakeNetwork::write(const std::string& call) {
  tell(call);
  log_.push_back(call);
}

void FakeNetwork::tell(const std::string& call) {
  if (onCall) onCall(call);
}

namespace {

// Records outlive the tags that they point at only if those are static.
const char* setupTag(const std::string& operation) {
  static const std::map<std::string, const char*> tags = {
      {"setMode", "HttpClientPool::setMode"},
      {"setServer", "HttpClientPool::setServer"},
      {"setSSLContext", "HttpClientPool::setSSLContext"},
      {"setProxyServer", "HttpClientPool::setProxyServer"},
      {"setCallbacks", "HttpClientPool::setCallbacks"},
      {"setHeaders", "HttpClientPool::setHeaders"}};
  return tags.at(operation);
}

}  // namespace

krbool FakeNetwork::resultOfSetup(const std::string& operation, Krell::Err& err) {
  const auto failure = setupFailures_.find(operation);
  const bool fails = failure != setupFailures_.end();
  if (fails) pushError(err.chain, setupTag(operation), -1, "%s", failure->second.c_str());
  const auto answer = setupAnswers_.find(operation);
  if (answer != setupAnswers_.end()) return answer->second;
  return fails ? 0 : 1;
}

bool FakeNetwork::requestSucceeds(const std::string& path, Krell::Err& err) {
  const auto refusal = refusals_.find(path);
  if (refusal == refusals_.end()) {
    requests_.push_back(path);
    if (!complaint_.empty()) {
      setError(err.chain, "HttpClient::request", -1, "%s", complaint_.c_str());
    }
    return true;
  }
  setError(err.chain, "HttpClient::request", -1, "%s", refusal->second.c_str());
  return false;
}

bool FakeNetwork::isShutDown() {
  return waitsLeft_ >= 0 && waitsLeft_-- <= 0;
}

void FakeNetwork::keepCallbacks(const Krell::Networking::HttpClient::Callbacks& callbacks,
                                void* userPointer) {
  callbacks_ = callbacks;
  userPointer_ = userPointer;
}

bool FakeNetwork::deliverData(Krell::Networking::ReqTokenGeneralType* token,
                              Krell::Networking::TransferProgress& progress,
                              const std::string& bytes) {
  Krell::Evbuffer storage{bytes.data(), bytes.size()};
  Krell::Networking::Response response;
  response.data = &storage;
  Krell::Networking::CallbackContext context{nullptr, userPointer_};
  callbacks_.onData(&context, token, &progress, &response);
  return response.data == nullptr;
}

FakeResponse FakeNetwork::responseTo(const std::string& path) const {
  const auto found = responses_.find(path);
  if (found != responses_.end()) return found->second;
  FakeResponse notFound;
  notFound.status = 404;
  return notFound;
}

std::size_t FakeNetwork::rankOf(const std::string& path) const {
  const auto place = std::find(finishOrder_.begin(), finishOrder_.end(), path);
  return static_cast<std::size_t>(place - finishOrder_.begin());
}

namespace Krell {
namespace Networking {

/// The clients of one pool.
class TransferEngine {
 public:
  TransferEngine(HttpClient* clients, int count) : clients_(static_cast<std::size_t>(count)) {
    for (Client& client : clients_)
      client.self = clients++;
  }

  void configure(const HttpClient::Callbacks& callbacks, void* userPointer) {
    callbacks_ = callbacks;
    userPointer_ = userPointer;
  }

  void start(int index, const char* path, ReqTokenGeneralType* token) {
    Client& client = clients_[static_cast<std::size_t>(index)];
    EXPECT_NE(client.state, State::kRunning) << "request on a running client";
    client.state = State::kRunning;
    client.number = ++count_;
    client.path = path;
    client.token = token;
  }

  void waitFinished(int index) {
    Client& client = clients_[static_cast<std::size_t>(index)];
    while (client.state == State::kRunning)
      finishNext();
    client.state = State::kIdle;
  }

  int waitAvailable() {
    while (true) {
      auto available = find(State::kIdle, [](const Client&) { return std::size_t{0}; });
      if (available == clients_.end()) {
        available = find(State::kFinished, [](const Client& client) { return client.number; });
      }
      if (available != clients_.end()) {
        available->state = State::kIdle;
        return static_cast<int>(available - clients_.begin());
      }
      finishNext();
    }
  }

 private:
  enum class State { kIdle, kRunning, kFinished };

  struct Client {
    HttpClient* self = nullptr;
    State state = State::kIdle;
    std::size_t number = 0;  // of its request when running, of its end when finished
    std::string path;
    ReqTokenGeneralType* token = nullptr;
  };
  using Place = std::vector<Client>::iterator;

  // The first of the clients in `state` that rank lowest.
  template <typename Rank>
  Place find(State state, Rank rank) {
    auto best = clients_.end();
    for (auto client = clients_.begin(); client != clients_.end(); ++client) {
      if (client->state != state) continue;
      if (best == clients_.end() || rank(*client) < rank(*best)) best = client;
    }
    return best;
  }

  void finishNext() {
    const auto next = find(State::kRunning, [](const Client& client) {
      return std::make_pair(FakeNetwork::current().rankOf(client.path), client.number);
    });
    deliver(*next);
    next->state = State::kFinished;
    next->number = ++count_;
  }

  void deliver(Client& client) {
    const FakeResponse response = FakeNetwork::current().responseTo(client.path);
    CallbackContext context{client.self, userPointer_};
    TransferProgress progress{};
    callbacks_.onSent(&context, client.token);
    for (int i = 0; i < response.callsBeforeStatus; ++i) {
      if (!deliverPiece(context, client.token, progress, "")) return;
    }
    if (response.status != 0) callbacks_.onStatus(&context, client.token, &response.status);
    for (const std::string& piece : response.pieces) {
      if (!deliverPiece(context, client.token, progress, piece)) return;
    }
    if (response.error) callbacks_.onError(&context, &*response.error, client.token);
  }

  // False when the transfer was aborted.
  bool deliverPiece(CallbackContext& context, ReqTokenGeneralType* token,
                    TransferProgress& progress, const std::string& piece) {
    Evbuffer bytes{piece.data(), piece.size()};
    Response response;
    response.data = &bytes;
    progress.receivedBytes += static_cast<std::int64_t>(piece.size());
    {
      const FailingAllocation::Resumption resumption;
      callbacks_.onData(&context, token, &progress, &response);
    }
    return progress.abort == 0;
  }

  std::vector<Client> clients_;
  HttpClient::Callbacks callbacks_{};
  void* userPointer_ = nullptr;
  std::size_t count_ = 0;
};

krbool HttpClient::request(Err& err, const char* path, unsigned method, ReqTokenGeneralType* token,
                           Buffer* body, ReqIDGeneralType** id) {
  const Pause pause;
  FakeNetwork& network = FakeNetwork::current();
  network.write("request(" + std::to_string(index_) + ", " + quoted(path) + ", " +
                std::to_string(method) + ", " + nullOrNot(token) + ", " + nullOrNot(body) + ", " +
                nullOrNot(id) + ")");
  if (!network.requestSucceeds(path, err)) return 0;
  engine_->start(index_, path, token);
  return 1;
}

krbool HttpClient::waitForRequestCompletion(ReqIDGeneralType* id) {
  const Pause pause;
  FakeNetwork::current().write("waitForRequestCompletion(" + std::to_string(index_) + ", " +
                               nullOrNot(id) + ")");
  engine_->waitFinished(index_);
  return 1;
}

krbool HttpClientPool::initialize(int clientCount) {
  const Pause pause;
  FakeNetwork::current().write("initialize(" + std::to_string(clientCount) + ")");
  EXPECT_EQ(clients_, nullptr) << "initialize() on a pool that is initialized";
  clients_ = new HttpClient[static_cast<std::size_t>(clientCount)];
  clientCount_ = clientCount;
  clients_->engine_ = new TransferEngine(clients_, clientCount);
  for (int index = 0; index < clientCount; ++index) {
    clients_[index].engine_ = clients_->engine_;
    clients_[index].index_ = index;
  }
  return 1;
}

krbool HttpClientPool::setMode(Err& err, unsigned mode) {
  const Pause pause;
  FakeNetwork::current().write("setMode(" + std::to_string(mode) + ")");
  return FakeNetwork::current().resultOfSetup("setMode", err);
}

krbool HttpClientPool::setServer(Err& err, const char* host, int port, IP* bindTo) {
  const Pause pause;
  FakeNetwork::current().write("setServer(" + quoted(host) + ", " + std::to_string(port) + ", " +
                               nullOrNot(bindTo) + ")");
  return FakeNetwork::current().resultOfSetup("setServer", err);
}

krbool HttpClientPool::setSSLContext(Err& err, const ClientSSLConfiguration* configuration) {
  const Pause pause;
  const bool isContexts = configuration == getKrellNetworkingContext()->clientSsl;
  FakeNetwork::current().write(isContexts ? "setSSLContext(the context's)"
                                          : "setSSLContext(another)");
  return FakeNetwork::current().resultOfSetup("setSSLContext", err);
}

krbool HttpClientPool::setProxyServer(Err& err, const char* host, int port) {
  const Pause pause;
  FakeNetwork::current().write("setProxyServer(" + quoted(host) + ", " + std::to_string(port) +
                               ")");
  return FakeNetwork::current().resultOfSetup("setProxyServer", err);
}

krbool HttpClientPool::setCallbacks(Err& err, const HttpClient::Callbacks& callbacks,
                                    void* userPointer) {
  const Pause pause;
  FakeNetwork::current().write("setCallbacks(" + std::to_string(callbacks.flags) + ", " +
                               nullOrNot(userPointer) + ")");
  FakeNetwork::current().keepCallbacks(callbacks, userPointer);
  clients_->engine_->configure(callbacks, userPointer);
  return FakeNetwork::current().resultOfSetup("setCallbacks", err);
}

krbool HttpClientPool::setHeaders(Err& err, Headers& headers, krbool append) {
  const Pause pause;
  std::string list;
  for (const HeaderField& field : headers.fields().list)
    list += "\"" + field.name + ": " + field.value + "\", ";
  FakeNetwork::current().write("setHeaders(" + list + std::to_string(append) + ")");
  return FakeNetwork::current().resultOfSetup("setHeaders", err);
}

Headers::Headers() : fields_(new HeaderFields) {
  const Pause pause;
  FakeNetwork::current().tell("Headers()");
}

Headers::~Headers() {
  const Pause pause;
  FakeNetwork::current().tell("~Headers()");
  delete fields_;
}

krbool Headers::internalSet(const char* name, int nameLength, const char* value, int valueLength,
                            krbool replace, int* index) {
  {
    const Pause pause;
    FakeNetwork::current().tell("internalSet(" + quoted(name) + ", " + std::to_string(nameLength) +
                                ", " + quoted(value) + ", " + std::to_string(valueLength) + ", " +
                                std::to_string(replace) + ", " + nullOrNot(index) + ")");
  }
  fields_->list.push_back({name, value});
  return 1;
}

HttpClient* HttpClientPool::waitAvailable(int* index) {
  const Pause pause;
  FakeNetwork& network = FakeNetwork::current();
  if (network.isShutDown()) {
    network.write("waitAvailable() -> null");
    return nullptr;
  }
  *index = clients_->engine_->waitAvailable();
  network.write("waitAvailable() -> " + std::to_string(*index));
  return clients_ + *index;
}

void HttpClientPool::destroy() {
  const Pause pause;
  FakeNetwork::current().write("destroy()");
  if (clients_ == nullptr) return;
  delete clients_->engine_;
  delete[] clients_;
  clients_ = nullptr;
  clientCount_ = 0;
}

krbool NetworkingContextInitializerRAII::initializeDefault(const char* name,
                                                           QUtils::CharString& error) {
  const Pause pause;
  FakeNetwork& network = FakeNetwork::current();
  network.write("initializeDefault(" + quoted(name) + ") flags=" + hexadecimal(flags) +
                " version=" + hexadecimal(version));
  if (network.initializationFails()) {
    error = network.initializationText();
    return 0;
  }
  flags |= kInitialized;
  return 1;
}

void NetworkingContextInitializerRAII::deinitialize(krbool initialized) {
  const Pause pause;
  FakeNetwork::current().write("deinitialize(" + std::to_string(initialized) +
                               ") flags=" + hexadecimal(flags));
}

krbool parseServerWithPortUntold(const char* begin, const char* end, QUtils::CharString& host,
                                 int& port);

krbool parseServerWithPort(const char* begin, const char* end, QUtils::CharString& host,
                           int& port) {
  if (currentNetwork != nullptr) {
    const Pause pause;
    currentNetwork->tell("parseServerWithPort(\"" + std::string(begin, end) + "\")");
  }
  return parseServerWithPortUntold(begin, end, host, port);
}

KrellNetworkingContext* getKrellNetworkingContext() {
  static ClientSSLConfiguration ssl;
  static KrellNetworkingContext context{nullptr, &ssl};
  return &context;
}

}  // namespace Networking
}  // namespace Krell
