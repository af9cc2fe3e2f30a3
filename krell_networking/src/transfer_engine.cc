// The part of the engine that any thread may call: it queues requests and waits for clients to
// become idle. What the engine's own thread does is in transfer_loop.cc.
#include "transfer_engine.h"

#include <algorithm>
#include <exception>
#include <new>
#include <utility>

#include "platform/quiet_thread.h"
#include "plugin/error_chain.h"

namespace Krell {
namespace Networking {

namespace {

constexpr const char* kRequestTag = "HttpClient::request";

}  // namespace

thread_local const TransferEngine* TransferEngine::ofThisThread_ = nullptr;

TransferEngine::TransferEngine(HttpClient* clients, int count)
    : transfers_(static_cast<std::size_t>(count)), multi_(curl_multi_init()) {
  for (Transfer& transfer : transfers_) {
    transfer.engine = this;
    transfer.client = clients++;
    links_.emplace_back(multi_.get(), static_cast<Connection::Watch&>(*this));
  }
  for (auto* list : {&pending_, &taken_})
    list->reserve(transfers_.size());
  polled_.reserve(links_.size());
  served_.reserve(links_.size());
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
  HttpClient::RequestOptions options;
  options.path = path;
  options.token = token;
  return start(index, options, error);
}

bool TransferEngine::start(int index, const HttpClient::RequestOptions& options,
                           ErrorChain& error) {
  Transfer& transfer = transfers_[static_cast<std::size_t>(index)];
  if (!checkStart(transfer, options, error)) return false;
  if (!prepare(options, transfer)) {
    setError(error, kRequestTag, -1, "Out of resources");
    return false;
  }
  transfer.token = options.token;
  transfer.toHead = options.method == HttpClient::kHead;
  transfer.mostBodyBytes = options.mostBodyBytes;
  bool wake = false;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (isEnding(error)) return false;
    transfer.state = State::kRunning;
    transfer.completing = false;
    pending_.push_back(&transfer);
    wake = std::exchange(asleep_, false);
  }
  // A thread that is awake needs no waking, which costs about as much as sending the request.
  if (wake) curl_multi_wakeup(multi_.get());
  return true;
}

// The caller has the lock.
bool TransferEngine::isEnding(ErrorChain& error) const {
  if (stopping_) setError(error, kRequestTag, -1, "The pool is shutting down");
  return stopping_;
}

bool TransferEngine::checkStart(const Transfer& transfer, const HttpClient::RequestOptions& options,
                                ErrorChain& error) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (isEnding(error)) return false;
    // Its completion callback may use a client again at once.
    const bool mayGoOn = ofThisThread_ == this && transfer.completing;
    if (transfer.state == State::kRunning && !mayGoOn) {
      setError(error, kRequestTag, -1, "The client is busy");
      return false;
    }
  }
  if (!isRequestTarget(options.path)) {
    setError(error, kRequestTag, -1, "Invalid request path \"%s\"",
             options.path != nullptr ? options.path : "");
    return false;
  }
  if (configuration_.host.empty()) {
    setError(error, kRequestTag, -1, "No server set");
    return false;
  }
  return true;
}

// False when memory, or anything else, has run out.
bool TransferEngine::prepare(const HttpClient::RequestOptions& options, Transfer& transfer) {
  try {
    if (!launch()) return false;
    requestText_.write(options, transfer.request);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

// Prepares, at the first request, what all of them share.
bool TransferEngine::launch() {
  if (ofThisThread_ == this || thread_.joinable()) return true;
  // Without handles for it there is nothing to wake the thread with.
  if (multi_ == nullptr || curl_multi_wakeup(multi_.get()) != CURLM_OK) return false;
  buffer_.reset(new (std::nothrow) char[kBufferSize]);
  connector_ = makeConnector(configuration_, configuration_.limits.connectMilliseconds);
  if (buffer_ == nullptr || connector_ == nullptr) return false;
  requestText_ = RequestText(configuration_, configuration_.headers);
  thread_ = Platform::startQuietThread([this] { run(); });
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

}  // namespace Networking
}  // namespace Krell
