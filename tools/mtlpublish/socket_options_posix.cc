// Connections that linger keep a port otherwise.
#include "mtlpublish/socket_options.h"

#include <poll.h>

namespace mtlpublish {

namespace {

bool isReady(socket_t socket, short event, std::chrono::milliseconds time) {
  pollfd wait{socket, event, 0};
  return poll(&wait, 1, static_cast<int>(time.count())) > 0;
}

/// Whether a call has failed for this moment only.
bool isToBeRepeated() {
  return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

}  // namespace

void setSocketOptions(socket_t socket) {
  const int yes = 1;
  setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
}

void setUpConnection(socket_t socket) {
  fcntl(socket, F_SETFL, fcntl(socket, F_GETFL) | O_NONBLOCK);
}

std::ptrdiff_t receiveWithin(std::chrono::milliseconds time, socket_t socket, char* data,
                             std::size_t size) {
  if (!isReady(socket, POLLIN, time)) return 0;
  const ssize_t count = recv(socket, data, size, 0);
  if (count > 0) return count;
  return count < 0 && isToBeRepeated() ? 0 : -1;
}

std::ptrdiff_t sendWithin(std::chrono::milliseconds time, socket_t socket, const char* data,
                          std::size_t size) {
  if (!isReady(socket, POLLOUT, time)) return 0;
  const ssize_t count = send(socket, data, size, MSG_NOSIGNAL);
  if (count >= 0) return count;
  return isToBeRepeated() ? 0 : -1;
}

void endSending(socket_t socket) {
  shutdown(socket, SHUT_WR);
}

void closeSocket(socket_t socket) {
  close(socket);
}

}  // namespace mtlpublish
