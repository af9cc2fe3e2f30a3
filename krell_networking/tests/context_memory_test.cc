// Tests starting the library without memory: its trust store is the one that was asked for, or it
// does not start.
#include <gtest/gtest.h>

#include <cstdlib>

#include "net/context.h"
#include "ssl_configuration.h"
#include "support/counting_allocator.h"

namespace {

using Krell::Networking::getKrellNetworkingContext;
using Krell::Networking::NetworkingContextInitializerRAII;

void setEnvironment(const char* assignment) {
  // putenv keeps the pointer; the texts are literals.
  putenv(const_cast<char*>(assignment));
}

TEST(ContextMemory, ATrustStoreIsNotLost) {
  setEnvironment("CURL_CA_BUNDLE=");
  setEnvironment("SSL_CERT_FILE=/a folder of certificates/file.pem");
  setEnvironment("SSL_CERT_DIR=/a folder of certificates");
  NetworkingContextInitializerRAII first;
  QUtils::CharString none;
  // Windows' threads allocate a lock when it is first taken.
  first.deinitialize(first.initializeDefault("$$temp", none));
  const int failures = failEachAllocation([](FailingAllocation& failing) {
    NetworkingContextInitializerRAII initializer;
    QUtils::CharString error;
    failing.arm();
    const bool isStarted = initializer.initializeDefault("$$temp", error) != 0;
    failing.disarm();
    if (isStarted) {
      const auto* ssl = getKrellNetworkingContext()->clientSsl;
      EXPECT_EQ(ssl->caFile, "/a folder of certificates/file.pem");
      EXPECT_EQ(ssl->caDirectory, "/a folder of certificates");
    } else {
      EXPECT_TRUE(failing.happened());
      EXPECT_EQ(getKrellNetworkingContext()->clientSsl, nullptr);
      EXPECT_STREQ(error.text(), "Out of memory");
    }
    initializer.deinitialize(isStarted ? 1 : 0);
  });
  EXPECT_GT(failures, 10);
  for (const char* name : {"SSL_CERT_FILE=", "SSL_CERT_DIR="})
    setEnvironment(name);
}

}  // namespace
