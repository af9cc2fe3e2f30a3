// The engine's thread owns the multi handle and every transfer in flight; callers only
// queue requests and wait for clients to become idle.
#include "transfer_engine.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "connection_error.h"
#include "platform/quiet_thread.h"
#include "plugin/error_chain.h"
#include "server_address.h"

namespace Krell {
namespace Networking {

namespace {

constexpr const char* kRequestTag = "HttpClient::request";

// Measured: large bodies cost two to four times the CPU with libcurl's 16 KiB.
constexpr long kReceiveBufferSize = 256L * 1024;

// Of one transfer at a time: two while connecting, and one to the resolver.
constexpr std::size_t kMostSockets = 4;

// In one read: more is on its way.
constexpr std::int64_t kManyBytes = kReceiveBufferSize / 4;

// No transfer runs: only a request or the end wakes the thread.
constexpr int kPollForever = 3600 * 1000;

// A request target that would change what else is sent is not sent.
bool isRequestTarget(const char* path) {
  if (path == nullptr || *path != '/') return false;
  for (; *path != '\0'; ++path) {
    const auto byte = static_cast<unsigned char>(*path);
    if (byte <= 0x20 || byte == 0x7F) return false;
  }
  return true;
}

}  // namespace

TransferEngine::TransferEngine(HttpClient* clients, int count)
    : transfers_(static_cast<std::size_t>(count)), multi_(curl_multi_init()) {
  for (Transfer& transfer : transfers_) {
    transfer.engine = this;
    transfer.client = clients++;
  }
  pending_.reserve(transfers_.size());
  sockets_.reserve(transfers_.size() * kMostSockets);
  served_.reserve(sockets_.capacity());
  if (multi_ != nullptr) {
    curl_multi_setopt(multi_.get(), CURLMOPT_SOCKETFUNCTION, &TransferEngine::onSocket);
    curl_multi_setopt(multi_.get(), CURLMOPT_SOCKETDATA, this);
    curl_multi_setopt(multi_.get(), CURLMOPT_MAXCONNECTS, static_cast<long>(count));
  }
}

TransferEngine::~TransferEngine() {
  {
    std::unique_lock<std::mutex> lock(mutex_);
    stopping_ = true;
    changed_.notify_all();
    if (thread_.joinable()) curl_multi_wakeup(multi_.get());
    changed_.wait(lock, [this] { return waiting_ == 0; });
  }
  if (thread_.joinable()) thread_.join();
}

bool TransferEngine::start(int index, const char* path, ReqTokenGeneralType* token,
                           ErrorChain& error) {
  Transfer& transfer = transfers_[static_cast<std::size_t>(index)];
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (stopping_) {
      setError(error, kRequestTag, -1, "The pool is shutting down");
      return false;
    }
    if (transfer.state == State::kRunning) {
      setError(error, kRequestTag, -1, "The client is busy");
      return false;
    }
  }
  if (!isRequestTarget(path)) {
    setError(error, kRequestTag, -1, "Invalid request path \"%s\"", path != nullptr ? path : "");
    return false;
  }
  if (configuration_.host.empty()) {
    setError(error, kRequestTag, -1, "No server set");
    return false;
  }
  if (!prepare(transfer, path) || !launchThread()) {
    setError(error, kRequestTag, -1, "Out of resources");
    return false;
  }
  transfer.token = token;
  transfer.statusReported = false;
  transfer.headerComplete = false;
  transfer.progress = TransferProgress{};
  bool wake = false;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    transfer.state = State::kRunning;
    pending_.push_back(&transfer);
    wake = std::exchange(asleep_, false);
  }
  if (wake) curl_multi_wakeup(multi_.get());
  return true;
}

void TransferEngine::waitFinished(int index) {
  Transfer& transfer = transfers_[static_cast<std::size_t>(index)];
  std::unique_lock<std::mutex> lock(mutex_);
  ++waiting_;
  changed_.wait(lock, [&] { return transfer.state != State::kRunning; });
  transfer.state = State::kIdle;
  --waiting_;
  changed_.notify_all();
}

int TransferEngine::waitAvailable() {
  std::unique_lock<std::mutex> lock(mutex_);
  ++waiting_;
  int index = -1;
  changed_.wait(lock, [&] { return stopping_ || (index = pickAvailable()) >= 0; });
  --waiting_;
  if (stopping_) {
    changed_.notify_all();
    return -1;
  }
  transfers_[static_cast<std::size_t>(index)].state = State::kIdle;
  return index;
}

// Idle clients first, so that a fresh pool starts all of them before it reuses one.
int TransferEngine::pickAvailable() const {
  const auto rank = [](const Transfer& transfer) {
    if (transfer.state == State::kRunning) return UINT64_MAX;
    return transfer.state == State::kIdle ? 0 : transfer.finishedAs;
  };
  const auto best = std::min_element(
      transfers_.begin(), transfers_.end(),
      [&](const Transfer& left, const Transfer& right) { return rank(left) < rank(right); });
  if (best == transfers_.end() || best->state == State::kRunning) return -1;
  return static_cast<int>(best - transfers_.begin());
}

bool TransferEngine::launchThread() {
  if (thread_.joinable()) return true;
  // Without handles for it there is nothing to wake the thread with.
  if (multi_ == nullptr || curl_multi_wakeup(multi_.get()) != CURLM_OK) return false;
  try {
    thread_ = Platform::startQuietThread([this] { run(); });
  } catch (const std::system_error&) {
    return false;
  }
  return true;
}

bool TransferEngine::buildHeaderList() {
  if (headerList_ != nullptr) return true;
  for (const HeaderField& field : configuration_.headers.list) {
    const std::string line = field.name + ": " + field.value;
    curl_slist* list = curl_slist_append(headerList_.get(), line.c_str());
    if (list == nullptr) return false;
    static_cast<void>(headerList_.release());
    headerList_.reset(list);
  }
  return true;
}

// A new handle for each request; connections belong to the multi handle and stay. libcurl
// before 8.0 reads and frees memory it has given back when a response on a used handle
// begins with the continuation of a header line. A copy of a configured one costs less
// than to configure each.
// The request target goes out as it was given; the URL only names the server.
bool TransferEngine::prepare(Transfer& transfer, const char* path) {
  if (prototype_ == nullptr && !configurePrototype()) return false;
  CURL* easy = curl_easy_duphandle(prototype_.get());
  transfer.easy.reset(easy);
  if (easy == nullptr) return false;
  const bool absolute = !configuration_.tls && !configuration_.proxyHost.empty();
  const std::string target =
      (absolute ? "http://" + hostAndPort(configuration_.host.c_str(), configuration_.port) : "") +
      path;
  curl_easy_setopt(easy, CURLOPT_HEADERDATA, &transfer);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &transfer);
  curl_easy_setopt(easy, CURLOPT_PRIVATE, &transfer);
  return curl_easy_setopt(easy, CURLOPT_REQUEST_TARGET, target.c_str()) == CURLE_OK;
}

bool TransferEngine::configurePrototype() {
  std::unique_ptr<CURL, EasyCleanup> easy(curl_easy_init());
  if (easy == nullptr || !buildHeaderList()) return false;
  const TransferConfiguration& to = configuration_;
  const std::string url =
      (to.tls ? "https://" : "http://") + hostAndPort(to.host.c_str(), to.port) + "/";
  const std::string proxy =
      to.proxyHost.empty() ? "" : "http://" + hostAndPort(to.proxyHost.c_str(), to.proxyPort);

  bool good = true;
  const auto set = [&](CURLoption option, auto value) {
    good = curl_easy_setopt(easy.get(), option, value) == CURLE_OK && good;
  };
  // Taken apart once, not for each request; what cannot be is refused by the transfer.
  url_.reset(curl_url());
  if (curl_url_set(url_.get(), CURLUPART_URL, url.c_str(), 0) == CURLUE_OK) {
    set(CURLOPT_CURLU, url_.get());
  } else {
    set(CURLOPT_URL, url.c_str());
  }
  set(CURLOPT_PROTOCOLS_STR, "http,https");
  set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  set(CURLOPT_HTTPHEADER, headerList_.get());
  set(CURLOPT_PROXY, proxy.c_str());  // Empty: the environment has no say here.
  set(CURLOPT_NOPROXY, "");
  set(CURLOPT_SSL_VERIFYPEER, 1L);
  set(CURLOPT_SSL_VERIFYHOST, 2L);
  set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  if (to.tls && !to.ssl.caFile.empty()) set(CURLOPT_CAINFO, to.ssl.caFile.c_str());
  if (to.tls && !to.ssl.caDirectory.empty()) {
    // Schannel reads no such folders; then the authorities in it are just not trusted.
    const CURLcode code = curl_easy_setopt(easy.get(), CURLOPT_CAPATH, to.ssl.caDirectory.c_str());
    good = (code == CURLE_OK || code == CURLE_NOT_BUILT_IN) && good;
  }
  // A revoked certificate is refused; that a private authority publishes no list of them,
  // which Schannel alone looks for, is no reason to refuse.
  set(CURLOPT_SSL_OPTIONS, static_cast<long>(CURLSSLOPT_REVOKE_BEST_EFFORT));
  // libcurl rounds what has passed, up at times: never before the limit.
  set(CURLOPT_CONNECTTIMEOUT_MS, to.limits.connectMilliseconds + 1);
  set(CURLOPT_LOW_SPEED_LIMIT, 1L);
  set(CURLOPT_LOW_SPEED_TIME, to.limits.stallSeconds);
  set(CURLOPT_BUFFERSIZE, kReceiveBufferSize);
  set(CURLOPT_NOSIGNAL, 1L);
  set(CURLOPT_QUICK_EXIT, 1L);  // An abort does not wait for the resolver.
  set(CURLOPT_HEADERFUNCTION, &TransferEngine::onHeader);
  set(CURLOPT_WRITEFUNCTION, &TransferEngine::onBody);
  if (good) prototype_ = std::move(easy);
  return good;
}

// On the engine's thread from here on.

void TransferEngine::run() {
  while (takeRequests()) {
    callIdleClients();
    serveTransfers();
    collectFinished();
    const bool active = std::any_of(transfers_.begin(), transfers_.end(),
                                    [](const Transfer& transfer) { return transfer.active; });
    const auto interval = static_cast<int>(configuration_.limits.callbackInterval.count());
    if (fallAsleep()) {
      curl_multi_poll(multi_.get(), nullptr, 0, active ? interval : kPollForever, nullptr);
    }
  }
  for (Transfer& transfer : transfers_) {
    if (transfer.active) finish(transfer, CURLE_ABORTED_BY_CALLBACK);
  }
}

// False when there are requests to take first. A thread that is awake needs no waking,
// which costs about as much as sending the request.
bool TransferEngine::fallAsleep() {
  const std::lock_guard<std::mutex> lock(mutex_);
  asleep_ = pending_.empty() && !stopping_;
  return asleep_;
}

// Moves queued requests into libcurl; false when the engine is stopping.
bool TransferEngine::takeRequests() {
  const std::lock_guard<std::mutex> lock(mutex_);
  asleep_ = false;
  for (Transfer* transfer : pending_) {
    transfer->active = true;
    transfer->startedAs = ++startedCount_;
    transfer->lastCallback = {};  // Asked before anything is sent.
    curl_multi_add_handle(multi_.get(), transfer->easy.get());
  }
  pending_.clear();
  return !stopping_;
}

// Where the data comes faster than it can be taken, the oldest transfer gets the time: one
// body that is soon complete can be saved while the next arrives. The others are looked at
// once a second, when libcurl checks whether they have stalled.
void TransferEngine::serveTransfers() {
  int running = 0;
  curl_multi_socket_action(multi_.get(), CURL_SOCKET_TIMEOUT, 0, &running);
  served_ = sockets_;  // They change while they are served.
  for (const Socket& socket : served_) {
    const TransferProgress& progress = socket.transfer->progress;
    const std::int64_t before = progress.receivedBytes;
    curl_multi_socket_action(multi_.get(), socket.handle, 0, &running);
    if (progress.receivedBytes - before >= kManyBytes) return;
  }
}

// libcurl's word on which sockets a transfer uses.
int TransferEngine::onSocket(CURL* easy, curl_socket_t handle, int what, void* enginePointer,
                             void* /*ofSocket*/) {
  auto& sockets = static_cast<TransferEngine*>(enginePointer)->sockets_;
  sockets.erase(std::remove_if(sockets.begin(), sockets.end(),
                               [&](const Socket& socket) { return socket.handle == handle; }),
                sockets.end());
  Transfer* transfer = nullptr;
  curl_easy_getinfo(easy, CURLINFO_PRIVATE, &transfer);
  if (what == CURL_POLL_REMOVE || transfer == nullptr) return 0;
  if (sockets.size() == sockets.capacity()) return -1;
  const auto younger = std::find_if(sockets.begin(), sockets.end(), [&](const Socket& socket) {
    return socket.transfer->startedAs > transfer->startedAs;
  });
  sockets.insert(younger, Socket{handle, transfer});
  return 0;
}

void TransferEngine::collectFinished() {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const CURLcode code = message->data.result;
    Transfer* transfer = nullptr;
    curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &transfer);
    finish(*transfer, code);
  }
}

// Where the host is asked whether to abort while nothing arrives.
void TransferEngine::callIdleClients() {
  const Clock::time_point now = Clock::now();
  for (Transfer& transfer : transfers_) {
    if (!transfer.active || now - transfer.lastCallback < configuration_.limits.callbackInterval) {
      continue;
    }
    if (!deliver(transfer, nullptr, 0)) finish(transfer, CURLE_ABORTED_BY_CALLBACK);
  }
}

void TransferEngine::finish(Transfer& transfer, CURLcode code) {
  // libcurl takes a header that is cut off for a whole one, and its body for empty.
  if (code == CURLE_OK && !transfer.headerComplete) code = CURLE_PARTIAL_FILE;
  reportStatus(transfer);
  // What the callback aborted itself is no news to it.
  if (code != CURLE_OK && transfer.progress.abort == 0) {
    const ConnectionError error =
        describeFailure(transfer.easy.get(), code, !configuration_.proxyHost.empty());
    CallbackContext context{transfer.client, configuration_.userPointer};
    if (configuration_.callbacks.onError != nullptr) {
      configuration_.callbacks.onError(&context, &error, transfer.token);
    }
  }
  curl_multi_remove_handle(multi_.get(), transfer.easy.get());
  transfer.active = false;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    transfer.state = State::kFinished;
    transfer.finishedAs = ++finishedCount_;
  }
  changed_.notify_all();
}

bool TransferEngine::deliver(Transfer& transfer, const char* bytes, std::size_t size) {
  transfer.lastCallback = Clock::now();
  transfer.data = Evbuffer{bytes, size};
  transfer.progress.receivedBytes += static_cast<std::int64_t>(size);
  Response response;
  response.data = &transfer.data;
  CallbackContext context{transfer.client, configuration_.userPointer};
  if (configuration_.callbacks.onData != nullptr) {
    configuration_.callbacks.onData(&context, transfer.token, &transfer.progress, &response);
  }
  return transfer.progress.abort == 0;
}

void TransferEngine::reportStatus(Transfer& transfer) {
  if (transfer.statusReported) return;
  long code = 0;
  curl_easy_getinfo(transfer.easy.get(), CURLINFO_RESPONSE_CODE, &code);
  if (code == 0) return;
  transfer.statusReported = true;
  const auto status = static_cast<std::uint32_t>(code);
  CallbackContext context{transfer.client, configuration_.userPointer};
  if (configuration_.callbacks.onStatus != nullptr) {
    configuration_.callbacks.onStatus(&context, transfer.token, &status);
  }
}

// Each response, interim ones too, begins with a status line and ends with an empty line.
std::size_t TransferEngine::onHeader(char* bytes, std::size_t unit, std::size_t count,
                                     void* transferPointer) {
  const std::size_t size = unit * count;
  static_cast<Transfer*>(transferPointer)->headerComplete =
      size > 0 && (bytes[0] == '\r' || bytes[0] == '\n');
  return size;
}

std::size_t TransferEngine::onBody(char* bytes, std::size_t unit, std::size_t count,
                                   void* transferPointer) {
  auto& transfer = *static_cast<Transfer*>(transferPointer);
  transfer.engine->reportStatus(transfer);
  const std::size_t size = unit * count;
  return transfer.engine->deliver(transfer, bytes, size) ? size : CURL_WRITEFUNC_ERROR;
}

}  // namespace Networking
}  // namespace Krell
