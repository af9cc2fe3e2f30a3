// Serves a folder over HTTP on the loopback interface, for trying things out.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_STATIC_SERVER_H_
#define MTLLIB_TOOLS_MTLPUBLISH_STATIC_SERVER_H_

#include <filesystem>
#include <memory>
#include <string>

namespace mtlpublish {

/// Answers GET and HEAD for the regular files below the folder, and 404 to everything
/// else. Files are read in pieces as they are sent, so their size does not matter.
class StaticServer {
 public:
  /// `root` is canonical.
  explicit StaticServer(const std::filesystem::path& root);
  ~StaticServer();
  StaticServer(const StaticServer&) = delete;
  StaticServer& operator=(const StaticServer&) = delete;

  /// Takes the port, any free one for 0. Connections are accepted from now on, and
  /// answered once run is called. False when the port cannot be had.
  bool listen(int port);

  /// "http://127.0.0.1:PORT/", after listen.
  std::string address() const;

  /// Answers requests and does not return, unless accepting connections fails.
  void run();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_STATIC_SERVER_H_
