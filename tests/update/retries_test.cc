// Tests when to try again, and after how long.
#include "update/retries.h"

#include <gtest/gtest.h>

#include "mtllib/transfer_progress.h"

namespace mtlupdate {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(WaitAfter, DoublesFromTryToTryUpToTheLongest) {
  RetryPolicy policy;
  policy.firstWait = milliseconds(1000);
  policy.longestWait = milliseconds(6000);
  EXPECT_EQ(waitAfter(1, 0, policy), milliseconds(500));
  EXPECT_EQ(waitAfter(2, 0, policy), milliseconds(1000));
  EXPECT_EQ(waitAfter(3, 0, policy), milliseconds(2000));
  EXPECT_EQ(waitAfter(4, 0, policy), milliseconds(3000));
  EXPECT_EQ(waitAfter(1000, 0, policy), milliseconds(3000));
  EXPECT_EQ(waitAfter(2, 0.5, policy), milliseconds(1500));
}

TEST(AskedWait, IsANumberOfSeconds) {
  EXPECT_EQ(askedWait("120", ""), seconds(120));
  EXPECT_EQ(askedWait("0", ""), seconds(0));
  for (const char* text : {"", "-1", "1.5", "soon", "10 s", "12345678901"})
    EXPECT_FALSE(askedWait(text, "")) << text;
}

TEST(AskedWait, IsAMomentByTheServersOwnClock) {
  constexpr const char* kDate = "Fri, 31 Dec 1999 23:59:50 GMT";
  EXPECT_EQ(askedWait("Fri, 31 Dec 1999 23:59:59 GMT", kDate), seconds(9));
  EXPECT_EQ(askedWait("Sat, 01 Jan 2000 00:00:00 GMT", kDate), seconds(10));
  EXPECT_EQ(askedWait("Wed, 01 Mar 2000 00:00:00 GMT", kDate), seconds(10 + 86400 * 60));
  EXPECT_EQ(askedWait("Fri, 31 Dec 1999 00:00:00 GMT", kDate), seconds(0));
  EXPECT_FALSE(askedWait("Sat, 01 Jan 2000 00:00:00 GMT", ""));
  for (const char* text : {"Sat, 01 Jan 2000 00:00:00", "Sat, 01 Foo 2000 00:00:00 GMT",
                           "Sat, 01 anF 2000 00:00:00 GMT", "Sat, xx Jan 2000 00:00:00 GMT",
                           "Saturday, 01-Jan-00 00:00:00 GMT"})
    EXPECT_FALSE(askedWait(text, kDate)) << text;
}

TEST(IsTransient, IsWhatMayBeOtherwiseLater) {
  for (const int status : {429, 500, 502, 503, 504})
    EXPECT_TRUE(isTransientStatus(status)) << status;
  for (const int status : {201, 204, 206, 301, 304, 400, 403, 404, 410, 416, 430})
    EXPECT_FALSE(isTransientStatus(status)) << status;
  using namespace Krell::Networking;  // NOLINT(google-build-using-namespace)
  for (std::uint32_t reason = CONNECTION_ERROR_RESOLVE; reason <= CONNECTION_ERROR_TIMEOUT;
       ++reason)
    EXPECT_TRUE(isTransientReason(reason)) << reason;
  for (std::uint32_t reason = CONNECTION_ERROR_ABORTED; reason <= CONNECTION_ERROR_LIMIT; ++reason)
    EXPECT_FALSE(isTransientReason(reason)) << reason;
}

}  // namespace
}  // namespace mtlupdate
