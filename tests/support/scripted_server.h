// A ScriptedServer is an HTTP server on loopback that follows a test's script, byte by byte.
#ifndef MTLLIB_TESTS_SUPPORT_SCRIPTED_SERVER_H_
#define MTLLIB_TESTS_SUPPORT_SCRIPTED_SERVER_H_

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "support/socket.h"

/// A request as it arrived.
struct ServerRequest {
  std::string method;
  std::string target;  ///< As sent, not decoded.
  std::string head;    ///< The whole header section, with its empty line.

  /// The value of a header field, "" when absent.
  std::string header(const std::string& name) const;

  /// The whole head on one line: "GET / HTTP/1.1 [Host: h] [Accept: */*]".
  std::string line() const;
};

/// Serves connections on threads of its own until it is destroyed, which ends them all.
class ScriptedServer {
 public:
  /// Answers one request on the connection; false closes the connection.
  using Handler = std::function<bool(const ServerRequest&, Socket&)>;
  using Observer = std::function<void(const ServerRequest&)>;

  ScriptedServer();
  ~ScriptedServer();
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;

  std::uint16_t port() const { return port_; }
  /// "http://127.0.0.1:port"
  std::string address() const;

  /// Answers requests for `target` with status 200 and `body`; others get 404.
  void serve(const std::string& target, const std::string& body);
  void serveStatus(const std::string& target, int status, const std::string& body);
  void handle(const std::string& target, Handler handler);
  void remove(const std::string& target);

  /// Requests for `target` are answered only after release().
  void hold(const std::string& target);
  void release(const std::string& target);

  /// Tells `observer` of every request on its arrival, before it counts as arrived. Set
  /// while nobody is connected.
  void observe(Observer observer);

  /// Blocks until so many requests have arrived in all; false when they do not within
  /// a minute.
  bool waitForRequests(std::size_t count);

  std::vector<ServerRequest> requests() const;
  /// "METHOD target" of each request, in the order of arrival.
  std::vector<std::string> requestLines() const;
  void forgetRequests();
  /// Connections accepted so far.
  int connectionCount() const;

  /// A complete response.
  static std::string response(int status, std::string_view body);

 private:
  struct Connection {
    Socket socket;
    std::thread thread;
  };

  void acceptConnections();
  void serveConnection(Socket& socket);
  bool readRequest(Socket& socket, std::string& unread, ServerRequest& request);
  bool answer(const ServerRequest& request, Socket& socket);

  Socket listener_;
  std::uint16_t port_ = 0;
  std::thread acceptor_;

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  Observer observer_;
  std::list<Connection> connections_;
  std::map<std::string, Handler> handlers_;
  std::map<std::string, bool> held_;
  std::vector<ServerRequest> requests_;
  bool stopping_ = false;
};

#endif  // MTLLIB_TESTS_SUPPORT_SCRIPTED_SERVER_H_
