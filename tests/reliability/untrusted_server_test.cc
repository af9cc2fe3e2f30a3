// Tests servers over TLS that are not who they should be, or speak a protocol that nobody should.
// POSIX only: the test's server is OpenSSL's, which is not built for Windows here.
#include <openssl/bio.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "support/environment_variable.h"
#include "system/system_fixture.h"
#include "tls_server.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* kRefused = "Connection error: reason=13 extraF=0 underlying=60";
constexpr const char* kNoTls = "Connection error: reason=3 extraF=0 underlying=35";
constexpr const char* kAuthority = "Test authority";
constexpr const char* kLocal = "DNS:localhost,IP:127.0.0.1";

/// The protocol that OpenSSL's own client speaks with `server`, 0 when they find none.
int protocolWith(const TlsServer& server) {
  const OpenSsl<SSL_CTX> context(SSL_CTX_new(TLS_client_method()));
  const OpenSsl<SSL> connection(SSL_new(context.get()));
  BIO* transport = BIO_new_connect(("127.0.0.1:" + std::to_string(server.port())).c_str());
  SSL_set_bio(connection.get(), transport, transport);
  return SSL_connect(connection.get()) == 1 ? SSL_version(connection.get()) : 0;
}

// The trust store is read from the environment when a host starts the network.
class TrustedAuthority {
 public:
  TrustedAuthority() { writeCertificate(identity_, directory_ / "authority.pem"); }
  const Identity& identity() const { return identity_; }

 private:
  TempDir directory_;
  Identity identity_ = makeAuthority(kAuthority);
  EnvironmentVariable bundle_{"CURL_CA_BUNDLE", directory_ / "authority.pem"};
  EnvironmentVariable noFile_{"SSL_CERT_FILE", ""};
  EnvironmentVariable noFolder_{"SSL_CERT_DIR", ""};
};

class UntrustedServer : private TrustedAuthority, public SystemTest {
 protected:
  UntrustedServer() { writeFile(target("id.txt"), "old"); }

  Identity serverIdentity(const char* names, int firstDay, int lastDay) {
    return makeServerIdentity(&identity(), names, firstDay, lastDay);
  }

  int checkAt(const TlsServer& server) {
    settings_.remoteAddress = ("https://127.0.0.1:" + std::to_string(server.port())).c_str();
    return check();
  }

  void expectRefused(const Identity& identity, const char* cause, int version = TLS1_3_VERSION) {
    const TlsServer server(identity, version);
    EXPECT_EQ(checkAt(server), -1);
    EXPECT_THAT(callback_.errors(), ElementsAre(HasSubstr(cause)));
    EXPECT_EQ(server.requestCount(), 0) << "not even the request is for others to read";
  }
};

TEST_F(UntrustedServer, IsNotOneThatTheAuthorityVouchesFor) {
  const TlsServer server(serverIdentity(kLocal, -1, 30), TLS1_3_VERSION);
  EXPECT_EQ(checkAt(server), 1);
  EXPECT_EQ(server.requestCount(), 1);
}

TEST_F(UntrustedServer, IsNotOneThatSpeaksTls12) {
  const TlsServer server(serverIdentity(kLocal, -1, 30), TLS1_2_VERSION);
  EXPECT_EQ(checkAt(server), 1);
}

TEST_F(UntrustedServer, WithAnotherNameIsRefused) {
  expectRefused(serverIdentity("DNS:elsewhere.example", -1, 30), kRefused);
}

TEST_F(UntrustedServer, WithAnExpiredCertificateIsRefused) {
  expectRefused(serverIdentity(kLocal, -30, -1), kRefused);
}

TEST_F(UntrustedServer, WithACertificateOfTomorrowIsRefused) {
  expectRefused(serverIdentity(kLocal, 1, 30), kRefused);
}

TEST_F(UntrustedServer, ThatVouchesForItselfIsRefused) {
  expectRefused(makeServerIdentity(nullptr, kLocal, -1, 30), kRefused);
}

TEST_F(UntrustedServer, OfAnUnknownAuthorityIsRefused) {
  const Identity unknown = makeAuthority("Another authority");
  expectRefused(makeServerIdentity(&unknown, kLocal, -1, 30), kRefused);
}

TEST_F(UntrustedServer, OfAnAuthorityThatTakesATrustedNameIsRefused) {
  const Identity impostor = makeAuthority(kAuthority);
  expectRefused(makeServerIdentity(&impostor, kLocal, -1, 30), kNoTls);
}

TEST_F(UntrustedServer, WithACertificateThatNoAuthorityIssuedIsRefused) {
  // A server's certificate must not vouch for others.
  const Identity server = serverIdentity(kLocal, -1, 30);
  expectRefused(makeServerIdentity(&server, kLocal, -1, 30), kRefused);
}

TEST_F(UntrustedServer, ThatSpeaksAnOldProtocolIsNotRefusedBySettingsOfOpenSsl) {
  for (const int version : {TLS1_VERSION, TLS1_1_VERSION}) {
    const TlsServer server(serverIdentity(kLocal, -1, 30), version);
    EXPECT_EQ(protocolWith(server), version) << "the tests below would hold without our doing";
  }
}

TEST_F(UntrustedServer, ThatSpeaksTls10IsRefused) {
  expectRefused(serverIdentity(kLocal, -1, 30), kNoTls, TLS1_VERSION);
}

TEST_F(UntrustedServer, ThatSpeaksTls11IsRefused) {
  expectRefused(serverIdentity(kLocal, -1, 30), kNoTls, TLS1_1_VERSION);
}

/// A trusted server whose connection somebody between may cut; the newest protocol it speaks.
class CutConnection : public UntrustedServer, public testing::WithParamInterface<int> {
 protected:
  int checkReply(const std::string& bytes, bool closeNotify) {
    const Identity identity = serverIdentity(kLocal, -1, 30);
    const TlsServer server(identity, GetParam(), TlsReply{bytes, closeNotify});
    return checkAt(server);
  }
};

TEST_P(CutConnection, IsNoEndOfABodyWithoutLength) {
  EXPECT_EQ(checkReply("HTTP/1.1 200 OK\r\n\r\nne", false), -1);
  EXPECT_THAT(callback_.errors(),
              ElementsAre(HasSubstr("Connection error: reason=7 extraF=0 underlying=18")));
}

TEST_P(CutConnection, DoesNotMatterBehindABodyWithLength) {
  EXPECT_EQ(checkReply("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nnew", false), 1);
}

TEST_P(CutConnection, IsToldFromAnEndThatTheServerAnnounces) {
  EXPECT_EQ(checkReply("HTTP/1.1 200 OK\r\n\r\nnew", true), 1);
}

INSTANTIATE_TEST_SUITE_P(, CutConnection, testing::Values(TLS1_2_VERSION, TLS1_3_VERSION));

// The other way to name authorities: a folder of them, each file called by its hash.
class TrustedFolder {
 public:
  TrustedFolder() {
    std::array<char, 16> hash{};
    std::snprintf(hash.data(), hash.size(), "%08lx.0",
                  X509_subject_name_hash(identity_.certificate.get()));
    writeCertificate(identity_, directory_ / hash.data());
  }

 protected:
  TempDir directory_;
  Identity identity_ = makeAuthority(kAuthority);
  EnvironmentVariable noBundle_{"CURL_CA_BUNDLE", ""};
  EnvironmentVariable noFile_{"SSL_CERT_FILE", ""};
  EnvironmentVariable folder_{"SSL_CERT_DIR", directory_.path().string()};
};

class ServerOfAnAuthorityInAFolder : public TrustedFolder, public SystemTest {};

TEST_F(ServerOfAnAuthorityInAFolder, IsSpokenTo) {
  const TlsServer server(makeServerIdentity(&identity_, kLocal, -1, 30), TLS1_3_VERSION);
  settings_.remoteAddress = ("https://127.0.0.1:" + std::to_string(server.port())).c_str();
  EXPECT_EQ(check(), 1);
  EXPECT_EQ(server.requestCount(), 1);
}

}  // namespace
