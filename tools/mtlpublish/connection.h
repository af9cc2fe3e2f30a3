// A Connection is what a server reads a client's requests from and writes its answers to.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_CONNECTION_H_
#define MTLLIB_TOOLS_MTLPUBLISH_CONNECTION_H_

#include <httplib.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

namespace mtlpublish {

/// How long a client may keep the server waiting.
struct Patience {
  std::chrono::milliseconds alone;
  std::chrono::milliseconds whileOthersWait;
};

/// The stream of one client. Nothing that a client sends or leaves out takes more than the
/// buffer and a header's worth of memory. A client that does nothing keeps its connection
/// for a minute, but only for a moment while other clients wait for a thread.
///
/// For one thread.
class Connection : public httplib::Stream {
 public:
  /// Takes over the socket. `doOthersWait` is called on the thread of the connection, many
  /// times a second while it waits.
  Connection(socket_t socket, std::function<bool()> doOthersWait);
  /// Closes the socket.
  ~Connection() override;
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// Waits for the next request. False when none comes.
  bool awaitRequest();

  /// To be called after the last answer, when the client may still be sending: lets it read
  /// the answer first, which closing would take from it.
  void linger();

  bool is_readable() const override { return true; }
  bool is_writable() const override { return isOpen_; }
  /// Fails at the end of what one header may have of bytes and of time.
  ssize_t read(char* data, std::size_t size) override;
  /// Writes everything, or fails.
  ssize_t write(const char* data, std::size_t size) override;
  void get_remote_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
  void get_local_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
  socket_t socket() const override { return socket_; }

 private:
  using Time = std::chrono::steady_clock::time_point;

  bool isOver(const Patience& patience, Time since) const;
  bool receive(const Patience& patience, Time since);

  socket_t socket_;
  std::function<bool()> doOthersWait_;
  bool isOpen_ = true;
  std::array<char, 4096> buffer_{};
  /// What has been received and not read.
  std::size_t start_ = 0;
  std::size_t end_ = 0;
  /// When the present request began, and what has been received of it.
  Time begun_;
  std::size_t received_ = 0;
};

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_CONNECTION_H_
