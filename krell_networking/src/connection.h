// A Connection carries bytes to and from the pool's server, over a connection that libcurl opened.
#ifndef KRELL_NETWORKING_CONNECTION_H_
#define KRELL_NETWORKING_CONNECTION_H_

#include <curl/curl.h>

#include <array>
#include <cstddef>
#include <memory>
#include <string>

#include "net/http_client.h"
#include "ssl_configuration.h"

namespace Krell {
namespace Networking {

struct EasyCleanup {
  void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
struct MultiCleanup {
  void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};
using EasyHandle = std::unique_ptr<CURL, EasyCleanup>;
using MultiHandle = std::unique_ptr<CURLM, MultiCleanup>;

/// Whom the connections of a pool lead to.
struct Peer {
  std::string host;
  int port = 0;
  bool tls = false;
  ClientSSLConfiguration ssl;
  std::string proxyHost;  ///< Empty connects directly.
  int proxyPort = 0;
  std::string proxyUser;  ///< Empty shows the proxy no credentials.
  std::string proxyPassword;

  /// Plain HTTP is spoken to the proxy itself; TLS goes through a tunnel that it opens.
  bool speaksToProxy() const { return !tls && !proxyHost.empty(); }
};

/// A handle configured to connect to the peer and to do nothing else; null when out of
/// resources. Connections are opened with copies of it.
EasyHandle makeConnector(const Peer& peer, long connectMilliseconds);

/// Belongs to one multi handle and to the thread that drives it. libcurl resolves, connects,
/// opens tunnels and does TLS; once the connection is open it runs no transfer.
class Connection {
 public:
  /// Bytes that one call of receive() gives at most, however large the buffer is.
  static constexpr std::size_t kMostAtOnce = 256UL * 1024;

  /// Asked often while libcurl connects, also within its calls. False gives it up.
  class Watch {
   public:
    virtual ~Watch() = default;
    virtual bool mayGoOn(const Connection& connection) = 0;
  };

  Connection(CURLM* multi, Watch& watch) : multi_(multi), watch_(watch) {}
  ~Connection() { close(); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  bool isClosed() const { return easy_ == nullptr; }
  bool isOpen() const { return socket_ != CURL_SOCKET_BAD; }
  bool isConnecting() const { return !isClosed() && !isOpen(); }

  /// Begins to connect; CURLE_OK unless that fails at once. When it is done, the multi handle
  /// has a message for handle(), which goes to connected().
  CURLcode open(CURL* connector);
  /// Takes the outcome of connecting; on success the connection is open. On failure it
  /// stays as it is, for describe(), until close().
  CURLcode connected(CURLcode outcome);
  /// Not within a callback of libcurl.
  void close();

  CURL* handle() const { return easy_.get(); }
  curl_socket_t socket() const { return socket_; }

  /// CURLE_AGAIN when nothing can be sent or received now. Receiving nothing with CURLE_OK is
  /// the end of the connection.
  CURLcode send(const char* bytes, std::size_t size, std::size_t& sent);
  CURLcode receive(char* bytes, std::size_t size, std::size_t& received);

  /// After its end: whether the peer meant to end it there, as far as the protocol shows that.
  bool endedWholly(bool tls) const;

  /// What a failure of the connection is to hosts.
  ConnectionError describe(CURLcode code, const Peer& peer) const;
  /// What more is known about it.
  FailureDetail detail(CURLcode code) const;

 private:
  static int onProgress(void* connection, curl_off_t, curl_off_t, curl_off_t, curl_off_t);
  bool tunnelRefused() const;

  CURLM* multi_;
  Watch& watch_;
  EasyHandle easy_;
  curl_socket_t socket_ = CURL_SOCKET_BAD;
  bool refused_ = false;
  std::array<char, CURL_ERROR_SIZE> messages_{};  ///< libcurl's own words for what failed.
};

}  // namespace Networking
}  // namespace Krell

#endif  // KRELL_NETWORKING_CONNECTION_H_
