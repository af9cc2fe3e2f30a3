// Certificates are made on the spot, with keys on a curve, which takes no time.
#include "tls_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "support/temp_dir.h"

namespace {

/// Makes OpenSSL allow every protocol and cipher that it has, as some administrator may
/// have: that must not matter. Read once in a process, so it is there before main().
class EverythingAllowed {
 public:
  EverythingAllowed() {
    writeFile(directory_ / "openssl.cnf",
              "openssl_conf = all\n[all]\nssl_conf = ssl\n[ssl]\nsystem_default = defaults\n"
              "[defaults]\nMinProtocol = TLSv1\nCipherString = ALL:@SECLEVEL=0\n");
    setenv("OPENSSL_CONF", (directory_ / "openssl.cnf").c_str(), 1);
  }

 private:
  TempDir directory_;
};
const EverythingAllowed everythingAllowed;

constexpr long kSecondsADay = 24L * 60 * 60;

void require(bool done, const char* what) {
  if (done) return;
  std::fprintf(stderr, "TlsServer: %s\n", what);
  std::abort();
}

void addExtension(X509* certificate, X509* issuer, int kind, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value);
  require(extension != nullptr, value);
  X509_add_ext(certificate, extension, -1);
  X509_EXTENSION_free(extension);
}

Identity makeIdentity(const Identity* issuer, const char* owner, int kind, const char* extension,
                      int firstDay, int lastDay) {
  static std::atomic<long> serial{1};
  Identity made{OpenSsl<EVP_PKEY>(EVP_EC_gen("P-256")), OpenSsl<X509>(X509_new())};
  require(made.key != nullptr && made.certificate != nullptr, "no key");
  X509* certificate = made.certificate.get();
  X509_set_version(certificate, X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate), serial++);
  X509_gmtime_adj(X509_getm_notBefore(certificate), firstDay * kSecondsADay);
  X509_gmtime_adj(X509_getm_notAfter(certificate), lastDay * kSecondsADay);
  X509_set_pubkey(certificate, made.key.get());
  X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>(owner), -1, -1, 0);
  X509* parent = issuer != nullptr ? issuer->certificate.get() : certificate;
  X509_set_issuer_name(certificate, X509_get_subject_name(parent));
  addExtension(certificate, parent, kind, extension);
  EVP_PKEY* signer = issuer != nullptr ? issuer->key.get() : made.key.get();
  require(X509_sign(certificate, signer, EVP_sha256()) > 0, "no signature");
  return made;
}

}  // namespace

Identity makeAuthority(const char* name) {
  return makeIdentity(nullptr, name, NID_basic_constraints, "critical,CA:TRUE", -1, 30);
}

Identity makeServerIdentity(const Identity* issuer, const char* names, int firstDay, int lastDay) {
  return makeIdentity(issuer, "Test server", NID_subject_alt_name, names, firstDay, lastDay);
}

void writeCertificate(const Identity& identity, const std::string& fileName) {
  std::FILE* file = std::fopen(fileName.c_str(), "w");
  require(file != nullptr, "no certificate file");
  PEM_write_X509(file, identity.certificate.get());
  std::fclose(file);
}

TlsServer::TlsServer(const Identity& identity, int newestVersion, TlsReply reply)
    : context_(SSL_CTX_new(TLS_server_method())), reply_(std::move(reply)) {
  // Old protocols are only there when everything weak is allowed.
  SSL_CTX_set_cipher_list(context_.get(), "ALL:@SECLEVEL=0");
  SSL_CTX_set_min_proto_version(context_.get(), TLS1_VERSION);
  SSL_CTX_set_max_proto_version(context_.get(), newestVersion);
  SSL_CTX_use_certificate(context_.get(), identity.certificate.get());
  require(SSL_CTX_use_PrivateKey(context_.get(), identity.key.get()) == 1, "no private key");

  sockaddr_in address{};
  socklen_t size = sizeof(address);
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  listener_ = socket(AF_INET, SOCK_STREAM, 0);
  require(bind(listener_, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
              listen(listener_, 16) == 0 &&
              getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) == 0,
          "no listener");
  port_ = ntohs(address.sin_port);
  thread_ = std::thread([this] { serve(); });
}

TlsServer::~TlsServer() {
  stopping_ = true;
  shutdown(listener_, SHUT_RDWR);
  thread_.join();
  close(listener_);
}

void TlsServer::serve() {
  // Who has hung up while this writes must not end the test.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  while (!stopping_) {
    const int descriptor = accept(listener_, nullptr, nullptr);
    if (descriptor < 0) continue;
    const OpenSsl<SSL> connection(SSL_new(context_.get()));
    SSL_set_fd(connection.get(), descriptor);
    char request[4096];
    if (SSL_accept(connection.get()) == 1 &&
        SSL_read(connection.get(), request, sizeof(request)) > 0) {
      ++requestCount_;
      SSL_write(connection.get(), reply_.bytes.data(), static_cast<int>(reply_.bytes.size()));
      if (reply_.closeNotify) SSL_shutdown(connection.get());
    }
    close(descriptor);
  }
}
