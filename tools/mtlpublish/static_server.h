// Serves a folder over HTTP on the loopback interface, for trials.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_STATIC_SERVER_H_
#define MTLLIB_TOOLS_MTLPUBLISH_STATIC_SERVER_H_

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "mtlpublish/cache_rules.h"
#include "mtlpublish/glob.h"

namespace mtlpublish {

struct ServerOptions {
  /// How long every answer waits before it begins.
  std::chrono::milliseconds delay{0};
  /// Requests for matching paths fail with status 503.
  std::vector<Glob> fail;
  /// The Cache-Control of files, by their paths below the folder.
  std::vector<CacheRule> caches = usualCacheRules();
  /// Names that requests may be for, beside localhost and IP addresses.
  std::vector<std::string> hostNames;
  /// Called for each request once it has been answered, in one printable line: method, path,
  /// status, bytes of the body that were sent, milliseconds. On any thread, one at a
  /// time; none for no log.
  std::function<void(const std::string&)> log;
};

/// Answers GET and HEAD for the regular files below the folder; where the request accepts
/// text/html, for the folder itself and those of views by their index.html or, where there is none,
/// with a page about the library or the view; and 404 to everything else; requests for another
/// host, and requests with a body, are refused. Ranges, and conditional requests for
/// files that the client already has, are answered as any file server does. Files are read in
/// pieces as they are sent, so their size does not matter.
class StaticServer {
 public:
  /// `root` is canonical.
  StaticServer(const std::filesystem::path& root, ServerOptions options);
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
