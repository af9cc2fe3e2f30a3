// Reads and writes in short slices, and checks between them whether other clients are waiting.
#include "mtlpublish/connection.h"

#include <algorithm>
#include <utility>

#include "mtlpublish/system.h"

namespace mtlpublish {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr milliseconds kSlice{50};
/// Of all the lines of a request together.
constexpr std::size_t kHeaderLimit = 65536;

/// Between two requests, and for one to be complete.
constexpr Patience kRequestPatience{seconds(60), milliseconds(500)};
/// For a transfer at a standstill.
constexpr Patience kTransferPatience{seconds(60), seconds(5)};
constexpr Patience kLingerPatience{seconds(1), milliseconds(500)};

/// The HTTP library's number as the system's.
Socket systemSocket(socket_t socket) {
  return static_cast<Socket>(socket);
}

}  // namespace

Connection::Connection(socket_t socket, std::function<bool()> doOthersWait)
    : socket_(socket), doOthersWait_(std::move(doOthersWait)) {
  setUpConnection(systemSocket(socket_));
}

Connection::~Connection() {
  closeSocket(systemSocket(socket_));
}

bool Connection::awaitRequest() {
  const bool hasCome = start_ < end_ || receive(kRequestPatience, steady_clock::now());
  begun_ = steady_clock::now();
  received_ = end_ - start_;
  return hasCome;
}

void Connection::linger() {
  endSending(systemSocket(socket_));
  const Time begun = steady_clock::now();
  while (!isOver(kLingerPatience, begun) && receive(kLingerPatience, begun)) {
  }
}

ssize_t Connection::read(char* data, std::size_t size) {
  if (start_ == end_) {
    if (received_ >= kHeaderLimit || isOver(kRequestPatience, begun_)) return -1;
    if (!receive(kRequestPatience, begun_)) return -1;
    received_ += end_;
  }
  const std::size_t count = std::min(size, end_ - start_);
  std::copy_n(buffer_.data() + start_, count, data);
  start_ += count;
  return static_cast<ssize_t>(count);
}

ssize_t Connection::write(const char* data, std::size_t size) {
  Time since = steady_clock::now();
  for (std::size_t sent = 0; sent < size;) {
    const std::ptrdiff_t count =
        sendWithin(kSlice, systemSocket(socket_), data + sent, size - sent);
    if (count < 0 || (count == 0 && isOver(kTransferPatience, since))) {
      isOpen_ = false;
      return -1;
    }
    if (count == 0) continue;
    sent += static_cast<std::size_t>(count);
    since = steady_clock::now();
  }
  return static_cast<ssize_t>(size);
}

bool Connection::isOver(const Patience& patience, Time since) const {
  const auto time = steady_clock::now() - since;
  return time >= patience.alone || (time >= patience.whileOthersWait && doOthersWait_());
}

/// Refills the buffer with what there is. False when nothing came in time.
bool Connection::receive(const Patience& patience, Time since) {
  for (;;) {
    const std::ptrdiff_t count =
        receiveWithin(kSlice, systemSocket(socket_), buffer_.data(), buffer_.size());
    if (count > 0) {
      start_ = 0;
      end_ = static_cast<std::size_t>(count);
      return true;
    }
    if (count < 0 || isOver(patience, since)) return false;
  }
}

}  // namespace mtlpublish
