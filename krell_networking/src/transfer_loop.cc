// The engine's thread, which owns the connections and every request in flight.
#include <algorithm>
#include <utility>

#include "connection_error.h"
#include "transfer_engine.h"

namespace Krell {
namespace Networking {

namespace {

// How long others may be overlooked for one.
constexpr std::chrono::milliseconds kLongestNeglect{50};

// Nothing happens: only a request or the end wakes the thread.
constexpr int kPollForever = 3600 * 1000;

// The request that opens the connections of all clients: who makes a second one is likely to
// make many.
constexpr std::uint64_t kOpeningRequest = 2;

}  // namespace

void TransferEngine::run() {
  ofThisThread_ = this;
  now_ = Clock::now();
  rate_.begin(configuration_.bytesPerSecond, now_);
  while (takeRequests()) {
    connectOpening();
    serve();
    askHosts();
    endSlow();
    wait();
    now_ = Clock::now();
  }
  for (Transfer& transfer : transfers_) {
    if (transfer.active) breakOff(transfer, CURLE_ABORTED_BY_CALLBACK);
  }
  for (Link& link : links_)
    link.connection.close();
}

// False when the engine is stopping. No request comes after that was seen with the lock held, so
// that the end of each of them is reported.
bool TransferEngine::takeRequests() {
  bool isStopping = false;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    asleep_ = false;
    taken_.swap(pending_);
    isStopping = stopping_;
  }
  for (Transfer* transfer : taken_) {
    transfer->active = true;
    transfer->begun = false;
    transfer->hasThrown = false;
    transfer->progress = TransferProgress{};
    transfer->detail = FailureDetail{};
    transfer->startedAs = ++startedCount_;
    if (!isStopping) begin(*transfer);
  }
  taken_.clear();
  return !isStopping;
}

void TransferEngine::begin(Transfer& transfer) {
  // The host is asked before anything is sent.
  if (!deliver(transfer, nullptr, 0)) return drop(transfer);
  attach(transfer);
  if (transfer.startedAs == kOpeningRequest) openOthers();
}

// Connections.

// Gives the request an idle connection, else one that is being opened for nobody, else one of
// its own: there are as many as clients.
void TransferEngine::attach(Transfer& transfer) {
  for (Link& link : links_) {
    if (!link.connection.isOpen() || link.user != nullptr) continue;
    // Whatever it says now is not an answer to this request.
    if (!isQuiet(link)) continue;
    transfer.mayRetry = true;
    return use(link, transfer);
  }
  for (Link& link : links_) {
    if (!link.connection.isConnecting() || link.user != nullptr) continue;
    transfer.mayRetry = true;
    transfer.link = &link;
    link.user = &transfer;
    return;
  }
  openFor(transfer);
}

void TransferEngine::use(Link& link, Transfer& transfer) {
  transfer.link = &link;
  link.user = &transfer;
  link.mayHaveMore = false;
  transfer.sent = 0;
  transfer.answer.begin(configuration_.limits.answer, transfer.toHead, transfer.mostBodyBytes);
  transfer.pace.beginStep(now_);
  send(transfer);
}

void TransferEngine::openFor(Transfer& transfer) {
  transfer.mayRetry = false;
  transfer.link = nullptr;
  for (Link& link : links_) {
    if (!link.connection.isClosed()) continue;
    transfer.link = &link;
    link.user = &transfer;
    if (!open(link)) breakOff(transfer, CURLE_OUT_OF_MEMORY);
    return;
  }
}

bool TransferEngine::open(Link& link) {
  link.deadline = now_ + std::chrono::milliseconds(configuration_.limits.connectMilliseconds);
  return link.connection.open(connector_.get()) == CURLE_OK;
}

void TransferEngine::openOthers() {
  for (Link& link : links_) {
    if (link.connection.isClosed()) open(link);
  }
}

// Lets libcurl continue connecting, and takes what it has finished.
void TransferEngine::connectOpening() {
  const auto connecting = [](const Link& link) { return link.connection.isConnecting(); };
  if (std::none_of(links_.begin(), links_.end(), connecting)) return;
  int count = 0;
  curl_multi_perform(multi_.get(), &count);
  now_ = Clock::now();
  while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &count)) {
    if (message->msg != CURLMSG_DONE) continue;
    // The message goes with its handle.
    const CURL* const handle = message->easy_handle;
    const CURLcode outcome = message->data.result;
    const auto link = std::find_if(links_.begin(), links_.end(), [&](const Link& one) {
      return one.connection.handle() == handle;
    });
    if (link != links_.end()) finishConnecting(*link, outcome);
  }
  for (Link& link : links_) {
    if (connecting(link) && now_ >= link.deadline) finishConnecting(link, CURLE_OPERATION_TIMEDOUT);
  }
}

void TransferEngine::finishConnecting(Link& link, CURLcode outcome) {
  if (outcome == CURLE_ABORTED_BY_CALLBACK && now_ >= link.deadline) {
    outcome = CURLE_OPERATION_TIMEDOUT;
  }
  outcome = link.connection.connected(outcome);
  Transfer* const user = link.user;
  if (outcome == CURLE_OK) {
    if (user != nullptr) return use(link, *user);
    isQuiet(link);
    return;
  }
  if (user == nullptr) return link.connection.close();
  // The abort of its request has ended this one.
  if (user->progress.abort != 0) return drop(*user);
  breakOff(*user, outcome);
}

// Within libcurl, which may be at it for long: hosts are asked, but nothing is ended here.
bool TransferEngine::mayGoOn(const Connection& connection) {
  if (stopping_) return false;
  now_ = Clock::now();
  for (Transfer& transfer : transfers_) {
    if (transfer.active && transfer.progress.abort == 0 &&
        now_ - transfer.lastCallback >= configuration_.limits.callbackInterval) {
      deliver(transfer, nullptr, 0);
    }
  }
  for (const Link& link : links_) {
    if (&link.connection != &connection) continue;
    return now_ < link.deadline && (link.user == nullptr || link.user->progress.abort == 0);
  }
  return true;
}

// Waiting and serving.

void TransferEngine::wait() {
  polled_.clear();
  bool busy = false;
  bool more = false;
  const bool allowed = rate_.allow(now_, 1) > 0;
  for (Link& link : links_) {
    busy = busy || link.user != nullptr || link.connection.isConnecting();
    more = more || (link.mayHaveMore && allowed);
    if (!link.connection.isOpen()) continue;
    const bool sending = link.user != nullptr && link.user->sent < link.user->request.size();
    const bool receiving = link.user == nullptr || allowed;
    const auto events =
        static_cast<short>((receiving ? CURL_WAIT_POLLIN : 0) | (sending ? CURL_WAIT_POLLOUT : 0));
    // Bytes that the rate holds back are not the server's delay.
    if (link.user != nullptr && !allowed) link.user->pace.beginStep(now_);
    polled_.push_back(curl_waitfd{link.connection.socket(), events, 0});
  }
  auto time =
      busy ? static_cast<int>(configuration_.limits.callbackInterval.count()) : kPollForever;
  if (!allowed) time = std::min(time, static_cast<int>(rate_.pause().count()));
  if (!fallAsleep()) time = 0;
  curl_multi_poll(multi_.get(), polled_.data(), static_cast<unsigned>(polled_.size()),
                  more ? 0 : time, nullptr);
}

// False when there are requests to take first.
bool TransferEngine::fallAsleep() {
  const std::lock_guard<std::mutex> lock(mutex_);
  asleep_ = pending_.empty() && !stopping_;
  return asleep_;
}

// Where the data comes faster than it can be taken, the oldest request gets the time: one
// body that is soon complete can be saved while the next arrives.
void TransferEngine::serve() {
  served_.clear();
  for (Link& link : links_) {
    if (isServedNow(link)) served_.push_back(&link);
  }
  const auto age = [](const Link* link) {
    return link->user != nullptr ? link->user->startedAs : 0;
  };
  std::sort(served_.begin(), served_.end(),
            [&](const Link* left, const Link* right) { return age(left) < age(right); });
  for (Link* link : served_) {
    if (serve(*link) >= kManyBytes && now_ - lastFullRound_ < kLongestNeglect) return;
  }
  lastFullRound_ = now_;
}

bool TransferEngine::isServedNow(const Link& link) const {
  if (!link.connection.isOpen()) return false;
  if (link.mayHaveMore) return true;
  return std::any_of(polled_.begin(), polled_.end(), [&](const curl_waitfd& polled) {
    return polled.fd == link.connection.socket() && polled.revents != 0;
  });
}

std::size_t TransferEngine::serve(Link& link) {
  if (link.user == nullptr) {
    isQuiet(link);
    return 0;
  }
  if (link.user->sent < link.user->request.size()) send(*link.user);
  return link.user != nullptr && link.connection.isOpen() ? receive(*link.user) : 0;
}

void TransferEngine::send(Transfer& transfer) {
  const std::string& text = transfer.request;
  while (transfer.sent < text.size()) {
    std::size_t sent = 0;
    const CURLcode code = transfer.link->connection.send(text.data() + transfer.sent,
                                                         text.size() - transfer.sent, sent);
    if (code == CURLE_AGAIN) return;
    if (code != CURLE_OK) return breakOff(transfer, code);
    transfer.sent += sent;
  }
  transfer.pace.beginStep(now_);
}

// Takes what has arrived, until the request is finished or nothing more is there.
std::size_t TransferEngine::receive(Transfer& transfer) {
  Link& link = *transfer.link;
  std::size_t total = 0;
  while (total < kManyBytes) {
    link.mayHaveMore = false;
    const std::size_t size = rate_.allow(now_, kBufferSize);
    if (size == 0) {
      link.mayHaveMore = true;
      return total;
    }
    const HttpClient::Room room = roomFor(transfer);
    const Arrived arrived = fill(link.connection, room.bytes, std::min(size, room.size));
    rate_.spend(arrived.size);
    total += arrived.size;
    if (arrived.size > 0) {
      if (!std::exchange(transfer.begun, true)) transfer.pace.beginStep(now_);
      const char* at = room.bytes;
      const char* const end = at + arrived.size;
      const Answer::Result result = transfer.answer.take(&at, end, transfer);
      if (result != Answer::Result::kMore) {
        takeResult(transfer, result, at == end);
        return total;
      }
    }
    if (arrived.isEnd) takeEnd(transfer);
    if (arrived.isEnd || arrived.code == CURLE_AGAIN) return total;
    if (arrived.code != CURLE_OK) {
      breakOff(transfer, arrived.code);
      return total;
    }
  }
  link.mayHaveMore = true;
  return total;
}

// Where the next bytes are to be received.
HttpClient::Room TransferEngine::roomFor(Transfer& transfer) {
  HttpClient::Room room{nullptr, 0};
  if (configuration_.onRoom != nullptr && transfer.answer.isInBody()) {
    tell(transfer,
         [&](CallbackContext& context) { room = configuration_.onRoom(&context, transfer.token); });
  }
  return room.size > 0 ? room : HttpClient::Room{buffer_.get(), kBufferSize};
}

// Large pieces cost less than many small ones, and TLS gives a record at a time.
TransferEngine::Arrived TransferEngine::fill(Connection& connection, char* buffer,
                                             std::size_t size) {
  Arrived arrived;
  while (arrived.size < size && arrived.code == CURLE_OK && !arrived.isEnd) {
    const std::size_t wanted = size - arrived.size;
    std::size_t count = 0;
    arrived.code = connection.receive(buffer + arrived.size, wanted, count);
    arrived.isEnd = arrived.code == CURLE_OK && count == 0;
    arrived.size += count;
    const bool isAll = !configuration_.tls && count < wanted;
    if (isAll && arrived.code == CURLE_OK && !arrived.isEnd) arrived.code = CURLE_AGAIN;
  }
  return arrived;
}

void TransferEngine::takeResult(Transfer& transfer, Answer::Result result, bool nothingLeft) {
  switch (result) {
    case Answer::Result::kComplete: {
      Link& link = *std::exchange(transfer.link, nullptr);
      link.user = nullptr;
      // What comes after an answer would be taken for the next one.
      if (!nothingLeft || !transfer.answer.keepsConnection()) link.connection.close();
      return finish(transfer);
    }
    case Answer::Result::kBroken:
      return fail(transfer, describeBrokenRule(transfer.answer.broken()));
    case Answer::Result::kNothing:
      return breakOff(transfer, CURLE_GOT_NOTHING);
    case Answer::Result::kTruncated:
      return breakOff(transfer, CURLE_PARTIAL_FILE);
    case Answer::Result::kStopped:
    case Answer::Result::kMore:
      return drop(transfer);
  }
}

void TransferEngine::takeEnd(Transfer& transfer) {
  const bool wholly = transfer.link->connection.endedWholly(configuration_.tls);
  const Answer::Result result = transfer.answer.takeEnd(wholly);
  takeResult(transfer, result, false);
}

// Whether an idle connection is open and silent; else it is closed.
bool TransferEngine::isQuiet(Link& link) {
  std::size_t received = 0;
  if (link.connection.receive(buffer_.get(), 1, received) == CURLE_AGAIN) return true;
  link.connection.close();
  return false;
}

// Callbacks, and the ends of requests.

// Where the host is asked whether to abort while nothing arrives.
void TransferEngine::askHosts() {
  for (Transfer& transfer : transfers_) {
    if (!transfer.active) continue;
    const bool due = now_ - transfer.lastCallback >= configuration_.limits.callbackInterval;
    if (transfer.progress.abort != 0 || (due && !deliver(transfer, nullptr, 0))) drop(transfer);
  }
}

void TransferEngine::endSlow() {
  const std::chrono::seconds limit(configuration_.limits.stallSeconds);
  for (Transfer& transfer : transfers_) {
    if (!transfer.active || transfer.link == nullptr || !transfer.link->connection.isOpen())
      continue;
    if (transfer.pace.isTooSlow(now_, limit)) breakOff(transfer, CURLE_OPERATION_TIMEDOUT);
  }
}

// Calls what is not the pool's own. They are not to throw, but memory may run out on them, and
// nothing may leave the thread, or go through the C of libcurl and llhttp: what is thrown ends the
// request, as a failure.
template <typename Callback>
void TransferEngine::tell(Transfer& transfer, Callback callback) noexcept {
  CallbackContext context{transfer.client, transfer.engine->configuration_.userPointer};
  try {
    callback(context);
  } catch (...) {
    transfer.hasThrown = true;
    transfer.progress.abort = 1;
  }
}

void TransferEngine::Transfer::onField(const char* name, const char* value) {
  if (hasThrown) return;
  tell(*this, [&](CallbackContext& context) {
    engine->configuration_.onField(&context, token, name, value);
  });
}

void TransferEngine::Transfer::onStatus(int code) {
  const auto status = static_cast<std::uint32_t>(code);
  const auto callback = engine->configuration_.callbacks.onStatus;
  pace.beginStep(engine->now_);
  if (callback == nullptr || hasThrown) return;
  tell(*this, [&](CallbackContext& context) { callback(&context, token, &status); });
}

bool TransferEngine::Transfer::onBody(const char* bytes, std::size_t size) {
  pace.takeBody(engine->now_, size);
  return engine->deliver(*this, bytes, size);
}

bool TransferEngine::deliver(Transfer& transfer, const char* bytes, std::size_t size) {
  transfer.lastCallback = now_;
  transfer.data = Evbuffer{bytes, size};
  transfer.progress.receivedBytes += static_cast<std::int64_t>(size);
  Response response;
  response.data = &transfer.data;
  if (configuration_.callbacks.onData != nullptr && !transfer.hasThrown) {
    tell(transfer, [&](CallbackContext& context) {
      configuration_.callbacks.onData(&context, transfer.token, &transfer.progress, &response);
    });
  }
  return transfer.progress.abort == 0;
}

// The connection failed, or the time is up. A kept connection may have been closed while the
// request was on its way: then it is sent once more, on a new one.
void TransferEngine::breakOff(Transfer& transfer, CURLcode code) {
  Link* const link = transfer.link;
  const bool again = link != nullptr && transfer.mayRetry && !transfer.begun && !stopping_ &&
                     (code != CURLE_OPERATION_TIMEDOUT || link->connection.isConnecting());
  if (again) {
    link->connection.close();
    link->user = nullptr;
    return openFor(transfer);
  }
  const bool isDescribed = link != nullptr && !link->connection.isClosed();
  if (isDescribed) transfer.detail = link->connection.detail(code);
  fail(transfer, isDescribed ? link->connection.describe(code, configuration_)
                             : describeFailure(connector_.get(), code, false));
}

void TransferEngine::fail(Transfer& transfer, const ConnectionError& error) {
  // What the callback aborted itself is not news to it.
  if (transfer.progress.abort == 0) report(transfer, error);
  drop(transfer);
}

void TransferEngine::report(Transfer& transfer, const ConnectionError& error) {
  const auto callback = configuration_.callbacks.onError;
  if (callback == nullptr) return;
  tell(transfer, [&](CallbackContext& context) { callback(&context, &error, transfer.token); });
  // Once is enough, even if that one throws.
  transfer.hasThrown = false;
}

// Ends the request together with its connection.
void TransferEngine::drop(Transfer& transfer) {
  if (Link* const link = std::exchange(transfer.link, nullptr)) {
    link->user = nullptr;
    link->connection.close();
  }
  finish(transfer);
}

void TransferEngine::finish(Transfer& transfer) {
  transfer.active = false;
  if (transfer.hasThrown) {
    report(transfer, describeFailure(connector_.get(), CURLE_OUT_OF_MEMORY, false));
  }
  transfer.completing = configuration_.onComplete != nullptr;
  if (transfer.completing) {
    tell(transfer,
         [&](CallbackContext& context) { configuration_.onComplete(&context, transfer.token); });
    // It may have been given its next request.
    if (!std::exchange(transfer.completing, false)) return;
  }
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    transfer.state = State::kFinished;
    transfer.finishedAs = ++finishedCount_;
  }
  changed_.notify_all();
}

}  // namespace Networking
}  // namespace Krell
