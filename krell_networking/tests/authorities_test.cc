// Tests where the authorities of a system are found, on those that keep them in different places.
#include <gtest/gtest.h>

#include <string>

#include "net/context.h"
#include "ssl_configuration.h"
#include "support/environment_variable.h"
#include "support/temp_dir.h"
#include "system.h"

namespace {

using namespace Krell::Networking;  // NOLINT: the names under test

class Authorities : public ::testing::TestWithParam<const char*> {};

TEST_P(Authorities, AreFoundWhereTheSystemKeepsThem) {
  const TempDir root;
  const std::string file = root / std::string(GetParam()).substr(1);
  writeFile(file, "certificates");
  EXPECT_EQ(authoritiesFile(root.path().generic_u8string()), file);
}

INSTANTIATE_TEST_SUITE_P(Systems, Authorities,
                         ::testing::Values("/etc/ssl/certs/ca-certificates.crt",
                                           "/etc/pki/tls/certs/ca-bundle.crt",
                                           "/etc/pki/ca-trust/extracted/pem/tls-ca-bundle.pem",
                                           "/etc/ssl/ca-bundle.pem", "/etc/ssl/cert.pem"));

TEST(AuthoritiesOfASystem, AreNoFileWhereThereIsNone) {
  const TempDir root;
  EXPECT_EQ(authoritiesFile(root.path().generic_u8string()), "");
}

TEST(AuthoritiesOfASystem, AreNoFileThatCannotBeRead) {
  const TempDir root;
  std::filesystem::create_directories(root.path() / "etc/ssl/certs/ca-certificates.crt");
  writeFile(root / "etc/ssl/cert.pem", "certificates");
  EXPECT_EQ(authoritiesFile(root.path().generic_u8string()), root / "etc/ssl/cert.pem");
}

TEST(AuthoritiesOfASystem, AreLeftToALibcurlThatKnowsThem) {
  const EnvironmentVariable noBundle("CURL_CA_BUNDLE", "");
  const EnvironmentVariable noFile("SSL_CERT_FILE", "");
  NetworkingContextInitializerRAII initializer;
  QUtils::CharString error;
  ASSERT_NE(initializer.initializeDefault("$$temp", error), 0);
  const std::string named = getKrellNetworkingContext()->clientSsl->caFile;
  EXPECT_EQ(named, libcurlKnowsAuthorities() ? "" : authoritiesFile(""));
  initializer.deinitialize(1);
}

}  // namespace
