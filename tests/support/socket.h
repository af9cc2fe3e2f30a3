// The few socket operations that the test servers need.
#ifndef MTLLIB_TESTS_SUPPORT_SOCKET_H_
#define MTLLIB_TESTS_SUPPORT_SOCKET_H_

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

/// A TCP socket on loopback; owns its descriptor.
class Socket {
 public:
  Socket() = default;
  ~Socket() { close(); }
  Socket(Socket&& other) noexcept : handle_(std::exchange(other.handle_, kNone)) {}
  Socket& operator=(Socket&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }

  /// Has a port of 127.0.0.1, which the system picks, so that nobody else listens on it. Nor does
  /// the socket: it refuses connections.
  static Socket refuseOnLoopback();
  /// Listens on such a port.
  static Socket listenOnLoopback();

  std::uint16_t port() const;
  /// The next connection; not valid once the socket was shut down.
  Socket accept() const;
  /// Up to `size` bytes; 0 when the peer closed or the socket was shut down.
  std::size_t receive(char* bytes, std::size_t size) const;
  /// Whether all of it was sent.
  bool send(std::string_view bytes) const;
  /// Makes calls that wait in another thread return.
  void shutDown() const;
  /// Lets the peer see a reset instead of an orderly end once the socket is closed, which a
  /// server's script leaves to the server: others may look at the socket meanwhile.
  void resetOnClose() const;
  void close();
  bool valid() const { return handle_ != kNone; }

 private:
  using Handle = std::intptr_t;
  static constexpr Handle kNone = -1;

  explicit Socket(Handle handle) : handle_(handle) {}

  Handle handle_ = kNone;
};

#endif  // MTLLIB_TESTS_SUPPORT_SOCKET_H_
