// Files are sent in pieces from the disk; every name is resolved and checked to lie
// within the folder.
#include "mtlpublish/static_server.h"

#include <httplib.h>

#include <algorithm>
#include <fstream>
#include <optional>
#include <utility>
#include <vector>

#include "mtlpublish/contained_path.h"
#include "mtlpublish/socket_options.h"

namespace mtlpublish {

namespace {

namespace fs = std::filesystem;
using HandlerResponse = httplib::Server::HandlerResponse;

constexpr const char* kLoopback = "127.0.0.1";
// A connection keeps a thread while it is open, and a client holds five of them.
constexpr std::size_t kThreads = 64;
// How long a client may leave a connection unused, or a transfer at a standstill.
constexpr std::time_t kPatienceSeconds = 60;
// A client may fetch its whole library over one connection.
constexpr std::size_t kRequestsPerConnection = 1'000'000'000;
constexpr std::size_t kPiece = 262144;

std::string contentType(const fs::path& file) {
  if (file.extension() == ".json") return "application/json";
  if (file.extension() == ".txt") return "text/plain";
  return "application/octet-stream";
}

/// Sends a file that stays open as long as the response lasts.
class FileBody {
 public:
  explicit FileBody(std::ifstream file) : file_(std::move(file)), piece_(kPiece) {}

  bool send(std::size_t offset, std::size_t length, httplib::DataSink& sink) {
    if (!file_.seekg(static_cast<std::streamoff>(offset))) return false;
    const std::size_t count = std::min(length, piece_.size());
    // A file that has become shorter ends the connection.
    if (!file_.read(piece_.data(), static_cast<std::streamsize>(count))) return false;
    return sink.write(piece_.data(), count);
  }

 private:
  std::ifstream file_;
  std::vector<char> piece_;
};

HandlerResponse answer(const fs::path& root, const httplib::Request& request,
                       httplib::Response& response) {
  if (request.method != "GET" && request.method != "HEAD") return HandlerResponse::Unhandled;
  const std::optional<fs::path> file = fileWithin(root, request.path);
  if (!file) return HandlerResponse::Unhandled;
  std::ifstream stream(*file, std::ios::binary | std::ios::ate);
  const std::streamoff size = stream ? std::streamoff{stream.tellg()} : -1;
  if (size < 0) return HandlerResponse::Unhandled;
  if (size == 0) {
    response.set_content("", contentType(*file));
  } else {
    auto body = std::make_shared<FileBody>(std::move(stream));
    response.set_content_provider(
        static_cast<std::size_t>(size), contentType(*file),
        [body](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
          return body->send(offset, length, sink);
        });
  }
  return HandlerResponse::Handled;
}

}  // namespace

struct StaticServer::State {
  httplib::Server server;
  int port = 0;
};

StaticServer::StaticServer(const fs::path& root) : state_(std::make_unique<State>()) {
  httplib::Server& server = state_->server;
  server.new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
  server.set_keep_alive_max_count(kRequestsPerConnection);
  server.set_keep_alive_timeout(kPatienceSeconds);
  server.set_write_timeout(kPatienceSeconds);
  server.set_tcp_nodelay(true);
  server.set_socket_options(setSocketOptions);
  server.set_pre_routing_handler(
      [root](const httplib::Request& request, httplib::Response& response) {
        return answer(root, request, response);
      });
}

StaticServer::~StaticServer() = default;

bool StaticServer::listen(int port) {
  httplib::Server& server = state_->server;
  if (port == 0) {
    state_->port = server.bind_to_any_port(kLoopback);
  } else {
    state_->port = server.bind_to_port(kLoopback, port) ? port : -1;
  }
  return state_->port > 0;
}

std::string StaticServer::address() const {
  return std::string("http://") + kLoopback + ":" + std::to_string(state_->port) + "/";
}

void StaticServer::run() {
  state_->server.listen_after_bind();
}

}  // namespace mtlpublish
