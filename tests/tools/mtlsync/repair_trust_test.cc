// Which servers --repair trusts. The server is written for POSIX.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "reliability/tls_server.h"
#include "support/child_process.h"
#include "support/temp_dir.h"

namespace {

using testing::HasSubstr;

TEST(RepairTrust, FollowsTheEnvironment) {
  const TempDir dir;
  const Identity authority = makeAuthority("Authority of the test");
  writeCertificate(authority, dir / "authority.pem");
  const TlsServer server(makeServerIdentity(&authority, "DNS:localhost", -1, 1), TLS1_3_VERSION);
  const auto errorWith = [&](const ChildProcess::Environment& environment) {
    return runProcess({MTLSYNC, "--module", MTLSYNC_REAL_MODULE, "-q", "--repair", "--no-proxy",
                       "https://localhost:" + std::to_string(server.port()), dir / "copy"},
                      environment)
        .err;
  };
  EXPECT_THAT(errorWith({{"CURL_CA_BUNDLE", ""}, {"SSL_CERT_FILE", ""}, {"SSL_CERT_DIR", ""}}),
              HasSubstr("Could not fetch the list"));
  EXPECT_EQ(server.requestCount(), 0);
  // What the server has is not a list, but it was asked.
  EXPECT_THAT(errorWith({{"CURL_CA_BUNDLE", dir / "authority.pem"}}),
              HasSubstr("it is not JSON: "));
}

}  // namespace
