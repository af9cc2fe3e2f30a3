// Implements the socket operations with Winsock. There, shutting a socket down does not end the
// calls that wait on it, so none waits inside Winsock: each waits for the socket and for an event
// of our own.
#include <winsock2.h>

#include "support/socket.h"

namespace {

struct Waitable {
  SOCKET socket;
  HANDLE ready;    // The socket became ready for something.
  HANDLE stopped;  // Stays set once the socket was shut down.
};

Waitable& waitable(std::intptr_t handle) {
  return *reinterpret_cast<Waitable*>(handle);
}

void startWinsock() {
  static const int result = [] {
    WSADATA data;
    return WSAStartup(MAKEWORD(2, 2), &data);
  }();
  static_cast<void>(result);
}

// Makes the socket one that does not block, and that children do not inherit.
std::intptr_t adopt(SOCKET socket) {
  auto* made = new Waitable{socket, CreateEventW(nullptr, TRUE, FALSE, nullptr),
                            CreateEventW(nullptr, TRUE, FALSE, nullptr)};
  WSAEventSelect(socket, made->ready, FD_ACCEPT | FD_READ | FD_WRITE | FD_CLOSE);
  SetHandleInformation(reinterpret_cast<HANDLE>(socket), HANDLE_FLAG_INHERIT, 0);
  return reinterpret_cast<std::intptr_t>(made);
}

bool isStopped(const Waitable& on) {
  return WaitForSingleObject(on.stopped, 0) == WAIT_OBJECT_0;
}

// Wine loses the event of a connection now and then, when several come at once; that the
// socket is ready is found out all the same.
constexpr DWORD kLongestWaitMilliseconds = 50;

/// Calls `operation` until it has a result other than `failure`, waiting while the socket
/// is not ready; `failure` when it really fails or the socket was shut down.
template <typename Operation, typename Result>
Result whenReady(const Waitable& on, Result failure, Operation operation) {
  while (!isStopped(on)) {
    ResetEvent(on.ready);
    const Result result = operation();
    if (result != failure || WSAGetLastError() != WSAEWOULDBLOCK) return result;
    const HANDLE either[] = {on.ready, on.stopped};
    WaitForMultipleObjects(2, either, FALSE, kLongestWaitMilliseconds);
  }
  return failure;
}

sockaddr* general(sockaddr_in* address) {
  return reinterpret_cast<sockaddr*>(address);
}

}  // namespace

Socket Socket::refuseOnLoopback() {
  startWinsock();
  const SOCKET handle = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
  if (handle == INVALID_SOCKET) return {};
  Socket socket(adopt(handle));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::bind(handle, general(&address), sizeof(address)) != 0) socket.close();
  return socket;
}

Socket Socket::listenOnLoopback() {
  Socket listener = refuseOnLoopback();
  if (listener.valid() && ::listen(waitable(listener.handle_).socket, 64) != 0) listener.close();
  return listener;
}

std::uint16_t Socket::port() const {
  sockaddr_in address{};
  int size = sizeof(address);
  ::getsockname(waitable(handle_).socket, general(&address), &size);
  return ntohs(address.sin_port);
}

Socket Socket::accept() const {
  const Waitable& listener = waitable(handle_);
  const SOCKET socket = whenReady(listener, INVALID_SOCKET,
                                  [&] { return ::accept(listener.socket, nullptr, nullptr); });
  if (socket == INVALID_SOCKET) return {};
  const BOOL on = TRUE;
  ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&on), sizeof(on));
  return Socket(adopt(socket));
}

std::size_t Socket::receive(char* bytes, std::size_t size) const {
  const Waitable& peer = waitable(handle_);
  const int count = whenReady(
      peer, SOCKET_ERROR, [&] { return ::recv(peer.socket, bytes, static_cast<int>(size), 0); });
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

bool Socket::send(std::string_view bytes) const {
  // Larger pieces would be buffered whole by the system.
  constexpr std::size_t kPiece = 65536;
  const Waitable& peer = waitable(handle_);
  while (!bytes.empty()) {
    const auto piece = static_cast<int>(bytes.size() < kPiece ? bytes.size() : kPiece);
    const int count =
        whenReady(peer, SOCKET_ERROR, [&] { return ::send(peer.socket, bytes.data(), piece, 0); });
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

void Socket::shutDown() const {
  if (!valid()) return;
  SetEvent(waitable(handle_).stopped);
  ::shutdown(waitable(handle_).socket, SD_BOTH);
}

void Socket::resetOnClose() const {
  const linger hard{1, 0};
  ::setsockopt(waitable(handle_).socket, SOL_SOCKET, SO_LINGER,
               reinterpret_cast<const char*>(&hard), sizeof(hard));
}

void Socket::close() {
  if (!valid()) return;
  Waitable* const own = &waitable(std::exchange(handle_, kNone));
  ::closesocket(own->socket);
  CloseHandle(own->ready);
  CloseHandle(own->stopped);
  delete own;
}
