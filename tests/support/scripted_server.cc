// Serves with one thread that accepts connections and one for each connection, which runs the
// scripts.
#include "support/scripted_server.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <utility>

#include "support/counting_allocator.h"

namespace {

constexpr std::string_view kEndOfHead = "\r\n\r\n";

bool equalIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    return std::tolower(static_cast<unsigned char>(x)) ==
           std::tolower(static_cast<unsigned char>(y));
  });
}

}  // namespace

std::string ServerRequest::header(const std::string& name) const {
  std::size_t begin = head.find("\r\n");
  while (begin != std::string::npos) {
    begin += 2;
    const std::size_t end = head.find("\r\n", begin);
    if (end == std::string::npos) break;
    const std::string_view line = std::string_view(head).substr(begin, end - begin);
    const std::size_t colon = line.find(':');
    if (colon != std::string_view::npos && equalIgnoringCase(line.substr(0, colon), name)) {
      const std::size_t value = std::min(line.find_first_not_of(' ', colon + 1), line.size());
      return std::string(line.substr(value));
    }
    begin = end;
  }
  return {};
}

std::string ServerRequest::line() const {
  std::size_t end = head.find("\r\n");
  std::string text = head.substr(0, end);
  for (std::size_t begin = end + 2; (end = head.find("\r\n", begin)) > begin; begin = end + 2)
    text += " [" + head.substr(begin, end - begin) + "]";
  return text;
}

ScriptedServer::ScriptedServer() : listener_(Socket::listenOnLoopback()) {
  port_ = listener_.port();
  acceptor_ = std::thread([this] { acceptConnections(); });
}

ScriptedServer::~ScriptedServer() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
    held_.clear();
    changed_.notify_all();
  }
  listener_.shutDown();
  acceptor_.join();
  for (Connection& connection : connections_) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      connection.socket.shutDown();
    }
    connection.thread.join();
  }
}

std::string ScriptedServer::address() const {
  return "http://127.0.0.1:" + std::to_string(port_);
}

void ScriptedServer::serve(const std::string& target, const std::string& body) {
  serveStatus(target, 200, body);
}

void ScriptedServer::serveStatus(const std::string& target, int status, const std::string& body) {
  handle(target, [reply = response(status, body)](const ServerRequest&, Socket& socket) {
    return socket.send(reply);
  });
}

void ScriptedServer::handle(const std::string& target, Handler handler) {
  const std::lock_guard<std::mutex> lock(mutex_);
  handlers_[target] = std::move(handler);
}

void ScriptedServer::remove(const std::string& target) {
  const std::lock_guard<std::mutex> lock(mutex_);
  handlers_.erase(target);
}

void ScriptedServer::hold(const std::string& target) {
  const std::lock_guard<std::mutex> lock(mutex_);
  held_[target] = true;
}

void ScriptedServer::release(const std::string& target) {
  const std::lock_guard<std::mutex> lock(mutex_);
  held_.erase(target);
  changed_.notify_all();
}

void ScriptedServer::observe(Observer observer) {
  const std::lock_guard<std::mutex> lock(mutex_);
  observer_ = std::move(observer);
}

bool ScriptedServer::waitForRequests(std::size_t count) {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, std::chrono::seconds(60),
                           [&] { return requests_.size() >= count; });
}

std::vector<ServerRequest> ScriptedServer::requests() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return requests_;
}

std::vector<std::string> ScriptedServer::requestLines() const {
  std::vector<std::string> lines;
  for (const ServerRequest& request : requests()) {
    lines.push_back(request.method + " " + request.target);
  }
  return lines;
}

void ScriptedServer::forgetRequests() {
  const std::lock_guard<std::mutex> lock(mutex_);
  requests_.clear();
}

int ScriptedServer::connectionCount() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return static_cast<int>(connections_.size());
}

std::string ScriptedServer::response(int status, std::string_view body) {
  std::string text = "HTTP/1.1 " + std::to_string(status) + " Scripted\r\n";
  text += "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n";
  return text.append(body);
}

void ScriptedServer::acceptConnections() {
  const UncountedThread uncounted;
  while (true) {
    Socket socket = listener_.accept();
    const std::lock_guard<std::mutex> lock(mutex_);
    if (stopping_ || !socket.valid()) return;
    Connection& connection = connections_.emplace_back();
    connection.socket = std::move(socket);
    connection.thread = std::thread([this, &connection] { serveConnection(connection.socket); });
  }
}

void ScriptedServer::serveConnection(Socket& socket) {
  const UncountedThread uncounted;
  std::string unread;
  ServerRequest request;
  while (readRequest(socket, unread, request)) {
    if (!answer(request, socket)) break;
  }
  const std::lock_guard<std::mutex> lock(mutex_);
  socket.close();
}

bool ScriptedServer::readRequest(Socket& socket, std::string& unread, ServerRequest& request) {
  char piece[4096];
  std::size_t end = 0;
  while ((end = unread.find(kEndOfHead)) == std::string::npos) {
    const std::size_t count = socket.receive(piece, sizeof(piece));
    if (count == 0) return false;
    unread.append(piece, count);
  }
  request.head = unread.substr(0, end + kEndOfHead.size());
  unread.erase(0, request.head.size());
  const std::size_t target = request.head.find(' ') + 1;
  request.method = request.head.substr(0, target - 1);
  request.target = request.head.substr(target, request.head.find(" HTTP/", target) - target);
  return true;
}

bool ScriptedServer::answer(const ServerRequest& request, Socket& socket) {
  if (observer_) observer_(request);
  Handler handler;
  {
    std::unique_lock<std::mutex> lock(mutex_);
    requests_.push_back(request);
    changed_.notify_all();
    changed_.wait(lock, [&] { return held_.find(request.target) == held_.end(); });
    if (stopping_) return false;
    const auto found = handlers_.find(request.target);
    if (found != handlers_.end()) handler = found->second;
  }
  return handler ? handler(request, socket) : socket.send(response(404, "not here"));
}
