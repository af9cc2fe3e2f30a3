// A TLS server on loopback with whatever certificate a test asks for, and the authority
// that vouches for it. In a program that has one, OpenSSL allows all that it can do.
#ifndef MTLLIB_TESTS_RELIABILITY_TLS_SERVER_H_
#define MTLLIB_TESTS_RELIABILITY_TLS_SERVER_H_

#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

struct OpenSslFree {
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
  void operator()(X509* certificate) const { X509_free(certificate); }
  void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
  void operator()(SSL* connection) const { SSL_free(connection); }
};
template <typename T>
using OpenSsl = std::unique_ptr<T, OpenSslFree>;

/// A key with the certificate that names its owner.
struct Identity {
  OpenSsl<EVP_PKEY> key;
  OpenSsl<X509> certificate;
};

/// An authority of its own.
Identity makeAuthority(const char* name);

/// A server's identity, signed by `issuer`, or by itself when null; valid for the days from
/// `firstDay` to `lastDay`, counted from now. `names` as in "DNS:localhost,IP:127.0.0.1".
Identity makeServerIdentity(const Identity* issuer, const char* names, int firstDay, int lastDay);

void writeCertificate(const Identity& identity, const std::string& fileName);

/// What a server answers to each request, before it ends the connection.
struct TlsReply {
  std::string bytes = "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nnew";
  /// Announces the end, as nobody between client and server can.
  bool closeNotify = true;
};

class TlsServer {
 public:
  /// `newestVersion` is the newest protocol it speaks, such as TLS1_3_VERSION.
  TlsServer(const Identity& identity, int newestVersion, TlsReply reply = {});
  ~TlsServer();
  TlsServer(const TlsServer&) = delete;
  TlsServer& operator=(const TlsServer&) = delete;

  std::uint16_t port() const { return port_; }
  /// Requests that got through to it.
  int requestCount() const { return requestCount_; }

 private:
  void serve();

  OpenSsl<SSL_CTX> context_;
  TlsReply reply_;
  int listener_ = -1;
  std::uint16_t port_ = 0;
  std::atomic<bool> stopping_{false};
  std::atomic<int> requestCount_{0};
  std::thread thread_;
};

#endif  // MTLLIB_TESTS_RELIABILITY_TLS_SERVER_H_
