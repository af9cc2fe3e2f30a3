// Tests starting and stopping the library, and where its trust store comes from.
#include "net/context.h"

#include <gtest/gtest.h>

#include "ssl_configuration.h"
#include "support/environment_variable.h"

namespace {

using namespace Krell::Networking;  // NOLINT: the names under test

TEST(NetworkingContext, IsThereBetweenTheFirstStartAndTheLastStop) {
  EXPECT_EQ(getKrellNetworkingContext()->clientSsl, nullptr);
  NetworkingContextInitializerRAII first;
  NetworkingContextInitializerRAII second;
  QUtils::CharString error;
  EXPECT_NE(first.initializeDefault("$$temp", error), 0);
  EXPECT_NE(second.initializeDefault("$$temp", error), 0);
  EXPECT_TRUE(error.empty());
  first.deinitialize(1);
  EXPECT_NE(getKrellNetworkingContext()->clientSsl, nullptr);
  second.deinitialize(1);
  EXPECT_EQ(getKrellNetworkingContext()->clientSsl, nullptr);
}

TEST(NetworkingContext, MarksItsInitializer) {
  NetworkingContextInitializerRAII initializer;
  QUtils::CharString error;
  initializer.initializeDefault("$$temp", error);
  EXPECT_EQ(initializer.flags, 0x2U);
  initializer.deinitialize(1);
  EXPECT_EQ(initializer.flags, 0U);
}

TEST(NetworkingContext, StoppingWhatNeverStartedChangesNothing) {
  NetworkingContextInitializerRAII running;
  QUtils::CharString error;
  running.initializeDefault("$$temp", error);
  NetworkingContextInitializerRAII never;
  never.deinitialize(0);
  EXPECT_NE(getKrellNetworkingContext()->clientSsl, nullptr);
  running.deinitialize(1);
}

TEST(NetworkingContext, RefusesAnotherInterfaceVersion) {
  NetworkingContextInitializerRAII initializer;
  initializer.version = 0x20000;
  QUtils::CharString error;
  EXPECT_EQ(initializer.initializeDefault("$$temp", error), 0);
  EXPECT_STREQ(error.text(), "Unsupported interface version");
}

TEST(TrustStore, ComesFromTheEnvironmentAsCurlsUsersKnowIt) {
  QUtils::CharString error;
  const EnvironmentVariable noBundle("CURL_CA_BUNDLE", "");
  const EnvironmentVariable file("SSL_CERT_FILE", "/file.pem");
  const EnvironmentVariable directory("SSL_CERT_DIR", "/directory");
  NetworkingContextInitializerRAII initializer;
  initializer.initializeDefault("$$temp", error);
  EXPECT_EQ(getKrellNetworkingContext()->clientSsl->caFile, "/file.pem");
  EXPECT_EQ(getKrellNetworkingContext()->clientSsl->caDirectory, "/directory");
  initializer.deinitialize(1);

  const EnvironmentVariable bundle("CURL_CA_BUNDLE", "/bundle.pem");
  initializer.initializeDefault("$$temp", error);
  EXPECT_EQ(getKrellNetworkingContext()->clientSsl->caFile, "/bundle.pem");
  EXPECT_EQ(getKrellNetworkingContext()->clientSsl->caDirectory, "");
  initializer.deinitialize(1);
}

}  // namespace
