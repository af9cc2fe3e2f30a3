// Other programs may join a port otherwise.
#include "mtlpublish/socket_options.h"

#include <algorithm>

namespace mtlpublish {

namespace {

bool isReady(socket_t socket, short event, std::chrono::milliseconds time) {
  WSAPOLLFD wait{socket, event, 0};
  return WSAPoll(&wait, 1, static_cast<int>(time.count())) > 0;
}

int sizeOfPiece(std::size_t size) {
  return static_cast<int>(std::min<std::size_t>(size, 1U << 20U));
}

/// Whether a call has failed for this moment only.
bool isToBeRepeated() {
  return WSAGetLastError() == WSAEWOULDBLOCK;
}

}  // namespace

void setSocketOptions(socket_t socket) {
  const BOOL yes = TRUE;
  setsockopt(socket, SOL_SOCKET, SO_EXCLUSIVEADDRUSE, reinterpret_cast<const char*>(&yes),
             sizeof(yes));
}

void setUpConnection(socket_t socket) {
  u_long yes = 1;
  ioctlsocket(socket, FIONBIO, &yes);
}

std::ptrdiff_t receiveWithin(std::chrono::milliseconds time, socket_t socket, char* data,
                             std::size_t size) {
  if (!isReady(socket, POLLRDNORM, time)) return 0;
  const int count = recv(socket, data, sizeOfPiece(size), 0);
  if (count > 0) return count;
  return count < 0 && isToBeRepeated() ? 0 : -1;
}

std::ptrdiff_t sendWithin(std::chrono::milliseconds time, socket_t socket, const char* data,
                          std::size_t size) {
  if (!isReady(socket, POLLWRNORM, time)) return 0;
  const int count = send(socket, data, sizeOfPiece(size), 0);
  if (count >= 0) return count;
  return isToBeRepeated() ? 0 : -1;
}

void endSending(socket_t socket) {
  shutdown(socket, SD_SEND);
}

void closeSocket(socket_t socket) {
  closesocket(socket);
}

}  // namespace mtlpublish
