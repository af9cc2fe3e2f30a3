// Serves files in pieces from the disk. Every name is resolved and checked to be within the
// folder.
#include "mtlpublish/static_server.h"

#include <httplib.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <exception>
#include <fstream>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "mtlpublish/connection.h"
#include "mtlpublish/contained_path.h"
#include "mtlpublish/file_name.h"
#include "mtlpublish/host_field.h"
#include "mtlpublish/http_file.h"
#include "mtlpublish/media_type.h"
#include "mtlpublish/page/page.h"
#include "mtlpublish/system.h"
#include "mtlpublish/tree_scan.h"
#include "rules/address.h"
#include "rules/own_names.h"
#include "rules/path.h"
#include "rules/printable.h"
#include "rules/utf8.h"

namespace mtlpublish {

namespace {

namespace fs = std::filesystem;
using std::chrono::steady_clock;
using HandlerResponse = httplib::Server::HandlerResponse;

constexpr const char* kLoopback = "127.0.0.1";
// A connection keeps a thread while it is open, and a client holds five of them.
constexpr std::size_t kThreads = 64;
constexpr std::size_t kPiece = 262144;
constexpr const char* kNoBody = "A request must have no body.\n";

enum Status {
  kPartialContent = 206,
  kNotModified = 304,
  kBadRequest = 400,
  kNotFound = 404,
  kPayloadTooLarge = 413,
  kUriTooLong = 414,
  kRangeNotSatisfiable = 416,
  kMisdirectedRequest = 421,
  kServiceUnavailable = 503
};

/// What is logged about the request that a thread is answering.
struct Answering {
  steady_clock::time_point start;
  std::uint64_t sent;
};
thread_local std::optional<Answering> answering;

/// Whether the thread's connection ends with the answer that it was given last.
thread_local bool isLastAnswer = false;

/// The bytes of a file that are asked for.
struct Part {
  std::uint64_t start = 0;
  std::uint64_t length = 0;
};

constexpr const char* kIndexName = "index.html";

/// Sends a part of a file, which stays open as long as the response lasts.
class FileBody {
 public:
  FileBody(std::ifstream file, std::uint64_t start)
      : file_(std::move(file)), start_(start), piece_(kPiece) {}

  bool send(std::size_t offset, std::size_t length, httplib::DataSink& sink) {
    if (!file_.seekg(static_cast<std::streamoff>(start_ + offset))) return false;
    const std::size_t count = std::min(length, piece_.size());
    // A file that has become shorter ends the connection.
    if (!file_.read(piece_.data(), static_cast<std::streamsize>(count))) return false;
    if (!sink.write(piece_.data(), count)) return false;
    answering->sent += count;
    return true;
  }

 private:
  std::ifstream file_;
  std::uint64_t start_;
  std::vector<char> piece_;
};

/// None when the file has no byte of the range. A bound that was not given is negative.
std::optional<Part> partOf(const httplib::Range& range, std::uint64_t size) {
  const auto [first, last] = range;
  if (first < 0) {
    const std::uint64_t length = std::min(static_cast<std::uint64_t>(last), size);
    return length == 0 ? std::nullopt : std::optional(Part{size - length, length});
  }
  const auto start = static_cast<std::uint64_t>(first);
  if (start >= size) return std::nullopt;
  const std::uint64_t rest = size - start;
  const bool isBounded = last >= 0;
  return Part{start,
              isBounded ? std::min(static_cast<std::uint64_t>(last - first) + 1, rest) : rest};
}

/// The one range that is to be sent. Several are answered with the whole file, as a server
/// may do.
std::optional<httplib::Range> takeRange(const httplib::Request& request, const FileState& state) {
  // The request is the server's own variable. With ranges in it, the server would cut out
  // of every body what they ask for, without a look at the body's size.
  httplib::Ranges ranges;
  ranges.swap(const_cast<httplib::Request&>(request).ranges);
  const bool isWanted = request.method == "GET" && ranges.size() == 1 &&
                        allowsPart(request.get_header_value("If-Range"), state);
  return isWanted ? std::optional(ranges.front()) : std::nullopt;
}

void sendPart(const fs::path& file, std::ifstream stream, const Part& part,
              httplib::Response& response) {
  if (part.length == 0) {
    response.set_content("", mediaType(fileName(file)));
    return;
  }
  auto body = std::make_shared<FileBody>(std::move(stream), part.start);
  response.set_content_provider(
      static_cast<std::size_t>(part.length), mediaType(fileName(file)),
      [body](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
        return body->send(offset, length, sink);
      });
}

HandlerResponse answerWithFile(const fs::path& file, const httplib::Request& request,
                               httplib::Response& response) {
  FileState state;
  if (readFileState(file, state)) return HandlerResponse::Unhandled;
  std::ifstream stream(file, std::ios::binary | std::ios::ate);
  const std::streamoff size = stream ? std::streamoff{stream.tellg()} : -1;
  if (size < 0) return HandlerResponse::Unhandled;
  // It may have been replaced meanwhile. A new content under the old tag is only fetched
  // once too often.
  state.size = static_cast<std::uint64_t>(size);
  const std::optional<httplib::Range> range = takeRange(request, state);
  response.set_header("Accept-Ranges", "bytes");
  response.set_header("ETag", entityTag(state));
  response.set_header("Last-Modified", lastModified(state));
  if (isKnown(request.get_header_value("If-None-Match"),
              request.get_header_value("If-Modified-Since"), state)) {
    response.status = kNotModified;
    return HandlerResponse::Handled;
  }
  Part part{0, state.size};
  if (range) {
    const std::optional<Part> wanted = partOf(*range, state.size);
    const std::string total = "/" + std::to_string(state.size);
    if (!wanted) {
      response.status = kRangeNotSatisfiable;
      response.set_header("Content-Range", "bytes *" + total);
      return HandlerResponse::Handled;
    }
    part = *wanted;
    const std::uint64_t last = part.start + part.length - 1;
    response.status = kPartialContent;
    response.set_header("Content-Range",
                        "bytes " + std::to_string(part.start) + "-" + std::to_string(last) + total);
  }
  sendPart(file, std::move(stream), part, response);
  return HandlerResponse::Handled;
}

std::string_view withoutLeadingSlashes(std::string_view path) {
  path.remove_prefix(std::min(path.find_first_not_of('/'), path.size()));
  return path;
}

bool isToFail(const ServerOptions& options, std::string_view path) {
  return mtlrules::isValidUtf8(path) &&
         std::any_of(options.fail.begin(), options.fail.end(),
                     [path](const Glob& glob) { return glob.matches(path); });
}

std::string controlFor(const ServerOptions& options, std::string_view path) {
  return std::string(mtlrules::isValidUtf8(path) ? controlOnServer(options.caches, path)
                                                 : kAskFirst);
}

bool hasBody(const httplib::Request& request) {
  const auto [first, last] = request.headers.equal_range("Content-Length");
  return request.has_header("Transfer-Encoding") ||
         std::any_of(first, last, [](const auto& field) { return field.second != "0"; });
}

HandlerResponse refuse(int status, const char* reason, httplib::Response& response) {
  response.status = status;
  response.set_content(reason, "text/plain");
  return HandlerResponse::Handled;
}

/// Of the library, or of its view of this sub-path.
HandlerResponse answerWithPage(const fs::path& root, const std::string& subPath,
                               httplib::Response& response) {
  const bool isView = mtlrules::isPlain(subPath) && fileWithin(root, mtlrules::stampName(subPath));
  if (!subPath.empty() && !isView) return HandlerResponse::Unhandled;
  std::string problem;
  const std::string page = libraryPage(root, subPath, std::chrono::system_clock::now(), problem);
  if (!problem.empty()) return refuse(kNotFound, (problem + "\n").c_str(), response);
  response.set_header("Content-Security-Policy", pagePolicy());
  response.set_header("Cache-Control", "no-cache");
  response.set_content(page, "text/html; charset=utf-8");
  return HandlerResponse::Handled;
}

/// Whether somebody wants to look at a folder. Clients of the library never do.
bool isFolderForBrowser(std::string_view path, const httplib::Request& request) {
  return (path.empty() || path.back() == '/') &&
         request.get_header_value("Accept").find("text/html") != std::string::npos;
}

HandlerResponse answer(const fs::path& root, const ServerOptions& options,
                       const httplib::Request& request, httplib::Response& response) {
  answering = Answering{steady_clock::now(), 0};
  if (hasBody(request)) {
    return refuse(kPayloadTooLarge, kNoBody, response);
  }
  if (request.get_header_value_count("Host") > 1) {
    return refuse(kBadRequest, "A request must have one Host field.\n", response);
  }
  if (!isOwnHost(request.get_header_value("Host"), options.hostNames)) {
    return refuse(kMisdirectedRequest,
                  "This server answers to IP addresses and to localhost. Names must be given to "
                  "mtlpublish serve with --host-name.\n",
                  response);
  }
  std::this_thread::sleep_for(options.delay);
  // The server would read what comes with other methods.
  if (request.method != "GET" && request.method != "HEAD") {
    response.status = kNotFound;
    return HandlerResponse::Handled;
  }
  const std::string_view path = withoutLeadingSlashes(request.path);
  if (isToFail(options, path)) {
    response.status = kServiceUnavailable;
    return HandlerResponse::Handled;
  }
  const bool isLookedAt = isFolderForBrowser(path, request);
  const std::optional<fs::path> file =
      fileWithin(root, isLookedAt ? std::string(path) + kIndexName : std::string(path));
  if (isLookedAt && !file)
    return answerWithPage(root, mtlrules::withoutTrailingSlashes(path), response);
  const bool isPrivate = file && isPrivateName(fileName(*file->lexically_relative(root).begin()));
  if (!file || isPrivate) return HandlerResponse::Unhandled;
  const HandlerResponse answered = answerWithFile(*file, request, response);
  // No cache is to keep an error.
  if (answered == HandlerResponse::Handled && response.status < kBadRequest) {
    response.set_header("Cache-Control", controlFor(options, path));
  }
  return answered;
}

/// True when the client may have sent more than was read.
bool isRestUnknown(const httplib::Request& request, const httplib::Response& response) {
  return response.status == kBadRequest || response.status == kUriTooLong || hasBody(request);
}

void completeHeader(const httplib::Request& request, httplib::Response& response) {
  isLastAnswer = isRestUnknown(request, response);
  if (isLastAnswer) response.headers.erase("Connection");
  if (isLastAnswer) response.set_header("Connection", "close");
  // Nobody has promised how long a connection is kept.
  response.headers.erase("Keep-Alive");
  response.set_header(
      "Date", httpDate(std::chrono::system_clock::to_time_t(std::chrono::system_clock::now())));
  // It would be the length of the file.
  if (response.status == kNotModified) response.headers.erase("Content-Length");
}

std::string logLine(const httplib::Request& request, const httplib::Response& response) {
  const auto now = steady_clock::now();
  // A request that is refused at once was never answered, but the thread's last one was.
  const Answering answered = std::exchange(answering, std::nullopt).value_or(Answering{now, 0});
  const bool hasText = request.method != "HEAD" && !response.body.empty();
  const std::uint64_t bytes = hasText ? response.body.size() : answered.sent;
  return mtlrules::printable(request.method + " " + request.target) + " " +
         std::to_string(response.status) + " " + std::to_string(bytes) + " bytes " +
         std::to_string(
             std::chrono::duration_cast<std::chrono::milliseconds>(now - answered.start).count()) +
         " ms";
}

/// Answers the requests of a connection on one of its threads.
class ConnectionServer : public httplib::Server {
 public:
  ConnectionServer() {
    new_task_queue = [this] { return new Threads(*this); };
  }

  /// More connections may come at once than the five that the library lets wait to be
  /// accepted; the others would try again after a second.
  void acceptCrowds() { ::listen(svr_sock_, SOMAXCONN); }

 private:
  /// Knows how many connections wait for a thread.
  class Threads : public httplib::ThreadPool {
   public:
    explicit Threads(ConnectionServer& server) : ThreadPool(kThreads), server_(server) {}

    void enqueue(std::function<void()> work) override {
      ++server_.waiting_;
      ThreadPool::enqueue([&server = server_, work = std::move(work)] {
        --server.waiting_;
        work();
      });
    }

   private:
    ConnectionServer& server_;
  };

  // Nothing may leave the thread: when memory runs out, the connection is closed.
  bool process_and_close_socket(socket_t socket) override {
    try {
      return answerAll(socket);
    } catch (const std::exception&) {
      return false;
    }
  }

  bool answerAll(socket_t socket) {
    Connection connection(socket, [this] { return waiting_ > 0; });
    while (connection.awaitRequest()) {
      bool isClosed = false;
      isLastAnswer = false;
      if (!process_request(connection, false, isClosed, nullptr) || isClosed) return false;
      if (!isLastAnswer) continue;
      connection.linger();
      return false;
    }
    return true;
  }

  std::atomic<std::size_t> waiting_{0};
};

}  // namespace

struct StaticServer::State {
  ServerOptions options;
  ConnectionServer server;
  std::mutex logMutex;
  int port = 0;
};

StaticServer::StaticServer(const fs::path& root, ServerOptions options)
    : state_(std::make_unique<State>()) {
  State& state = *state_;
  state.options = std::move(options);
  httplib::Server& server = state.server;
  server.set_tcp_nodelay(true);
  server.set_socket_options(setSocketOptions);
  server.set_pre_routing_handler(
      [root, &state](const httplib::Request& request, httplib::Response& response) {
        return answer(root, state.options, request, response);
      });
  server.set_post_routing_handler(completeHeader);
  server.set_expect_100_continue_handler(
      [](const httplib::Request& /*request*/, httplib::Response& response) {
        refuse(kPayloadTooLarge, kNoBody, response);
        return response.status;
      });
  if (!state.options.log) return;
  server.set_logger([&state](const httplib::Request& request, const httplib::Response& response) {
    const std::string line = logLine(request, response);
    const std::lock_guard lock(state.logMutex);
    state.options.log(line);
  });
}

StaticServer::~StaticServer() = default;

bool StaticServer::listen(int port) {
  ConnectionServer& server = state_->server;
  if (port == 0) {
    state_->port = server.bind_to_any_port(kLoopback);
  } else {
    state_->port = server.bind_to_port(kLoopback, port) ? port : -1;
  }
  if (state_->port <= 0) return false;
  server.acceptCrowds();
  return true;
}

std::string StaticServer::address() const {
  return std::string("http://") + kLoopback + ":" + std::to_string(state_->port) + "/";
}

void StaticServer::run() {
  state_->server.listen_after_bind();
}

}  // namespace mtlpublish
