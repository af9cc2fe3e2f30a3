// Implements the socket operations with those of POSIX.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include "support/socket.h"

namespace {

sockaddr* general(sockaddr_in* address) {
  return reinterpret_cast<sockaddr*>(address);
}

int descriptor(std::intptr_t handle) {
  return static_cast<int>(handle);
}

}  // namespace

Socket Socket::refuseOnLoopback() {
  Socket socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::bind(descriptor(socket.handle_), general(&address), sizeof(address)) != 0) socket.close();
  return socket;
}

Socket Socket::listenOnLoopback() {
  Socket listener = refuseOnLoopback();
  if (::listen(descriptor(listener.handle_), 64) != 0) listener.close();
  return listener;
}

std::uint16_t Socket::port() const {
  sockaddr_in address{};
  socklen_t size = sizeof(address);
  ::getsockname(descriptor(handle_), general(&address), &size);
  return ntohs(address.sin_port);
}

Socket Socket::accept() const {
  Socket peer(::accept4(descriptor(handle_), nullptr, nullptr, SOCK_CLOEXEC));
  const int on = 1;
  ::setsockopt(descriptor(peer.handle_), IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
  return peer;
}

std::size_t Socket::receive(char* bytes, std::size_t size) const {
  const ssize_t count = ::recv(descriptor(handle_), bytes, size, 0);
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

bool Socket::send(std::string_view bytes) const {
  while (!bytes.empty()) {
    const ssize_t count = ::send(descriptor(handle_), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

void Socket::shutDown() const {
  if (valid()) ::shutdown(descriptor(handle_), SHUT_RDWR);
}

void Socket::resetOnClose() const {
  const linger hard{1, 0};
  ::setsockopt(descriptor(handle_), SOL_SOCKET, SO_LINGER, &hard, sizeof(hard));
}

void Socket::close() {
  if (valid()) ::close(descriptor(std::exchange(handle_, kNone)));
}
