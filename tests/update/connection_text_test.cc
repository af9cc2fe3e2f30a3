// The words for reasons and rules.
#include "update/connection_text.h"

#include <gtest/gtest.h>

namespace mtlupdate {
namespace {

TEST(ConnectionReasonText, NamesEveryReason) {
  EXPECT_STREQ(connectionReasonText(0), "");
  EXPECT_STREQ(connectionReasonText(1), "the server's name could not be resolved");
  EXPECT_STREQ(connectionReasonText(2), "no connection to the server");
  EXPECT_STREQ(connectionReasonText(3), "the TLS handshake or a TLS record failed");
  EXPECT_STREQ(connectionReasonText(4), "the proxy could not be reached or refused");
  EXPECT_STREQ(connectionReasonText(5), "the request could not be sent");
  EXPECT_STREQ(connectionReasonText(6), "the connection broke before or in the response");
  EXPECT_STREQ(connectionReasonText(7), "the body is shorter than announced");
  EXPECT_STREQ(connectionReasonText(8), "connecting took too long, or the transfer stalled");
  EXPECT_STREQ(connectionReasonText(9), "the connections were closed meanwhile");
  EXPECT_STREQ(connectionReasonText(10), "the answer is not valid HTTP");
  EXPECT_STREQ(connectionReasonText(11), "out of memory");
  EXPECT_STREQ(connectionReasonText(12), "no closer reason known");
  EXPECT_STREQ(connectionReasonText(13), "the server's certificate could not be verified");
  EXPECT_STREQ(connectionReasonText(14), "the answer is larger than what is taken");
  EXPECT_STREQ(connectionReasonText(15), "");
}

TEST(BrokenRuleText, NamesEveryRule) {
  EXPECT_STREQ(brokenRuleText(0), "");
  for (int rule = 1; rule <= 12; ++rule)
    EXPECT_STRNE(brokenRuleText(rule), "") << rule;
  EXPECT_STREQ(brokenRuleText(13), "");
}

}  // namespace
}  // namespace mtlupdate
