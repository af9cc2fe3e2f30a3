// Fuzz target: a whole synchronisation over a real connection: each request is answered with the
// next piece of the input, as it is, up to the byte 1E; then the connection is closed.
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>

#include "host.h"
#include "http/http_getter.h"
#include "net/context.h"
#include "support/socket.h"

namespace {

namespace fs = std::filesystem;

// Takes one connection after the other, for as long as the process lives.
class RawServer {
 public:
  RawServer() : listener_(Socket::listenOnLoopback()) {
    std::thread([this] {
      while (true)
        serve(listener_.accept());
    }).detach();
  }

  void setInput(std::string input) {
    const std::lock_guard<std::mutex> lock(mutex_);
    input_ = std::move(input);
    at_ = 0;
  }

  std::string address() const { return "http://127.0.0.1:" + std::to_string(listener_.port()); }

 private:
  void serve(const Socket& socket) {
    std::string request;
    char piece[4096];
    while (request.find("\r\n\r\n") == std::string::npos) {
      const std::size_t count = socket.receive(piece, sizeof(piece));
      if (count == 0) return;
      request.append(piece, count);
    }
    socket.send(nextPiece());
  }

  std::string nextPiece() {
    const std::lock_guard<std::mutex> lock(mutex_);
    const std::size_t end = std::min(input_.find('\x1E', at_), input_.size());
    std::string piece = input_.substr(at_, end - at_);
    at_ = std::min(end + 1, input_.size());
    return piece;
  }

  Socket listener_;
  std::mutex mutex_;
  std::string input_;
  std::size_t at_ = 0;
};

struct Network {
  Network() {
    QUtils::CharString error;
    require(initializer.initializeDefault("fuzz", error) != 0);
  }
  Krell::Networking::NetworkingContextInitializerRAII initializer;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static Network network;
  static RawServer& server = *new RawServer;  // Its thread outlives main().
  static const fs::path folder =
      fs::temp_directory_path() / ("mtllib-fuzz-" + std::to_string(getpid()));
  server.setInput(std::string(reinterpret_cast<const char*>(bytes), size));

  Host host;
  host.settings.remoteAddress = (server.address() + "/lib").c_str();
  host.settings.proxyMode = PROXY_MODE_DISABLED;
  host.settings.targetDirectory = (folder / "target").c_str();
  fs::create_directories(folder);
  const int result = host.downloader.download();
  destroyHttpGetter(host.downloader.httpGetter, true);
  require(result <= 0);
  require(host.callback.errors <= 1);
  for (const auto& entry : fs::directory_iterator(folder))
    require(entry.path().filename() == "target");
  fs::remove_all(folder);
  return 0;
}
