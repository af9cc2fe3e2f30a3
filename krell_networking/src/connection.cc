// Opens connections with CURLOPT_CONNECT_ONLY: libcurl stops once the connection is established.
#include "connection.h"

#include "connection_error.h"
#include "server_address.h"
#include "system.h"

namespace Krell {
namespace Networking {

namespace {

// Of a proxy's answer to CONNECT.
constexpr long kMostTunnelHeaderBytes = 300L * 1024;

class Options {
 public:
  explicit Options(CURL* easy) : easy_(easy) {}

  template <typename Value>
  void set(CURLoption option, Value value) {
    good_ = curl_easy_setopt(easy_, option, value) == CURLE_OK && good_;
  }
  /// For what not every build of libcurl knows.
  template <typename Value>
  void setIfKnown(CURLoption option, Value value) {
    const CURLcode code = curl_easy_setopt(easy_, option, value);
    good_ = (code == CURLE_OK || code == CURLE_NOT_BUILT_IN) && good_;
  }
  bool good() const { return good_; }

 private:
  CURL* easy_;
  bool good_ = true;
};

void setAddress(Options& options, const Peer& peer) {
  const std::string proxy =
      peer.proxyHost.empty() ? "" : hostAndPort(peer.proxyHost.c_str(), peer.proxyPort);
  const std::string server = hostAndPort(peer.host.c_str(), peer.port);
  const std::string url =
      (peer.tls ? "https://" : "http://") + (peer.speaksToProxy() ? proxy : server) + "/";
  options.set(CURLOPT_URL, url.c_str());
  // Empty: the environment has no say here.
  const bool hasTunnel = peer.tls && !proxy.empty();
  options.set(CURLOPT_PROXY, hasTunnel ? ("http://" + proxy).c_str() : "");
  if (hasTunnel && !peer.proxyUser.empty()) {
    options.set(CURLOPT_PROXYAUTH, static_cast<long>(CURLAUTH_BASIC));
    options.set(CURLOPT_PROXYUSERNAME, peer.proxyUser.c_str());
    options.set(CURLOPT_PROXYPASSWORD, peer.proxyPassword.c_str());
  }
  options.set(CURLOPT_NOPROXY, "");
  // A proxy's refusal is read, but kept nowhere.
  options.set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
}

void setSecurity(Options& options, const ClientSSLConfiguration& ssl) {
  options.set(CURLOPT_SSL_VERIFYPEER, 1L);
  options.set(CURLOPT_SSL_VERIFYHOST, 2L);
  options.set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  if (!ssl.caFile.empty()) options.set(CURLOPT_CAINFO, ssl.caFile.c_str());
  // Schannel reads no such folders; then the authorities in it are just not trusted.
  if (!ssl.caDirectory.empty()) options.setIfKnown(CURLOPT_CAPATH, ssl.caDirectory.c_str());
  // A revoked certificate is refused; that a private authority publishes no list of them,
  // which Schannel alone looks for, is not a reason to refuse.
  options.set(CURLOPT_SSL_OPTIONS, static_cast<long>(CURLSSLOPT_REVOKE_BEST_EFFORT));
}

}  // namespace

EasyHandle makeConnector(const Peer& peer, long connectMilliseconds) {
  EasyHandle easy(curl_easy_init());
  if (easy == nullptr) return nullptr;
  Options options(easy.get());
  setAddress(options, peer);
  if (peer.tls) setSecurity(options, peer.ssl);
  options.set(CURLOPT_CONNECT_ONLY, 1L);
  options.set(CURLOPT_PROTOCOLS_STR, "http,https");
  options.set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  // For the addresses of a name, which share the time. libcurl rounds what has passed, up at
  // times: never before the limit.
  options.set(CURLOPT_CONNECTTIMEOUT_MS, connectMilliseconds + 1);
  options.set(CURLOPT_NOSIGNAL, 1L);
  options.set(CURLOPT_QUICK_EXIT, 1L);  // An abort does not wait for the resolver.
  options.set(CURLOPT_NOPROGRESS, 0L);
  // It bounds what curl_easy_recv() gives, too, and is 16 KiB unless set.
  options.set(CURLOPT_BUFFERSIZE, static_cast<long>(Connection::kMostAtOnce));
  return options.good() ? std::move(easy) : nullptr;
}

CURLcode Connection::open(CURL* connector) {
  refused_ = false;
  easy_.reset(curl_easy_duphandle(connector));
  if (easy_ == nullptr) return CURLE_OUT_OF_MEMORY;
  curl_easy_setopt(easy_.get(), CURLOPT_XFERINFOFUNCTION, &Connection::onProgress);
  curl_easy_setopt(easy_.get(), CURLOPT_XFERINFODATA, this);
  curl_easy_setopt(easy_.get(), CURLOPT_PRIVATE, this);
  messages_.front() = '\0';
  curl_easy_setopt(easy_.get(), CURLOPT_ERRORBUFFER, messages_.data());
  if (curl_multi_add_handle(multi_, easy_.get()) == CURLM_OK) return CURLE_OK;
  easy_.reset();
  return CURLE_OUT_OF_MEMORY;
}

CURLcode Connection::connected(CURLcode outcome) {
  if (outcome != CURLE_OK) return outcome;
  outcome = curl_easy_getinfo(easy_.get(), CURLINFO_ACTIVESOCKET, &socket_);
  return outcome == CURLE_OK && socket_ == CURL_SOCKET_BAD ? CURLE_COULDNT_CONNECT : outcome;
}

void Connection::close() {
  if (easy_ == nullptr) return;
  socket_ = CURL_SOCKET_BAD;
  curl_multi_remove_handle(multi_, easy_.get());
  easy_.reset();
}

CURLcode Connection::send(const char* bytes, std::size_t size, std::size_t& sent) {
  return curl_easy_send(easy_.get(), bytes, size, &sent);
}

CURLcode Connection::receive(char* bytes, std::size_t size, std::size_t& received) {
  received = 0;
  return curl_easy_recv(easy_.get(), bytes, size, &received);
}

bool Connection::endedWholly(bool tls) const {
  return !tls || endedByCloseNotify(easy_.get());
}

// libcurl calls this at every step, and for every byte of a proxy's answer.
int Connection::onProgress(void* connection, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
  auto& self = *static_cast<Connection*>(connection);
  if (self.isOpen()) return 0;
  // Nothing of a refusal is worth reading, whatever its length.
  self.refused_ = self.refused_ || self.tunnelRefused();
  return self.refused_ || !self.watch_.mayGoOn(self) ? 1 : 0;
}

bool Connection::tunnelRefused() const {
  long status = 0;
  long headerBytes = 0;
  curl_easy_getinfo(easy_.get(), CURLINFO_HTTP_CONNECTCODE, &status);
  curl_easy_getinfo(easy_.get(), CURLINFO_HEADER_SIZE, &headerBytes);
  return status >= 300 || headerBytes > kMostTunnelHeaderBytes;
}

ConnectionError Connection::describe(CURLcode code, const Peer& peer) const {
  // To libcurl, a tunnel that the proxy would not open is a receive error.
  if (refused_) return {CONNECTION_ERROR_PROXY, CURLE_RECV_ERROR};
  if (peer.speaksToProxy() && code == CURLE_COULDNT_RESOLVE_HOST) {
    code = CURLE_COULDNT_RESOLVE_PROXY;
  }
  return describeFailure(easy_.get(), code, !peer.proxyHost.empty());
}

FailureDetail Connection::detail(CURLcode code) const {
  FailureDetail detail;
  detail.wasConnected = isOpen();
  detail.certificate = certificateProblemOf(easy_.get(), code, messages_.data());
  long status = 0;
  curl_easy_getinfo(easy_.get(), CURLINFO_HTTP_CONNECTCODE, &status);
  if (status >= 300) detail.proxyStatus = static_cast<std::int32_t>(status);
  return detail;
}

}  // namespace Networking
}  // namespace Krell
