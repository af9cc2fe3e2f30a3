// Tests the texts for reasons and rules.
#include "update/connection_text.h"

#include <gtest/gtest.h>

namespace mtlupdate {
namespace {

TEST(ConnectionReasonText, NamesEveryReason) {
  EXPECT_STREQ(connectionReasonText(0), "");
  EXPECT_STREQ(connectionReasonText(1), "the server's name could not be resolved");
  EXPECT_STREQ(connectionReasonText(2), "could not connect to the server");
  EXPECT_STREQ(connectionReasonText(3), "the secure connection (TLS) failed");
  EXPECT_STREQ(connectionReasonText(4),
               "the proxy could not be reached, or refused the connection");
  EXPECT_STREQ(connectionReasonText(5), "the request could not be sent");
  EXPECT_STREQ(connectionReasonText(6), "the connection broke before the whole answer had arrived");
  EXPECT_STREQ(connectionReasonText(7), "only part of the file arrived");
  EXPECT_STREQ(connectionReasonText(8), "connecting took too long, or the transfer stalled");
  EXPECT_STREQ(connectionReasonText(9), "the connections were closed in the meantime");
  EXPECT_STREQ(connectionReasonText(10), "the answer is not valid HTTP");
  EXPECT_STREQ(connectionReasonText(11), "out of memory");
  EXPECT_STREQ(connectionReasonText(12), "the reason is not known");
  EXPECT_STREQ(connectionReasonText(13), "the server's certificate could not be verified");
  EXPECT_STREQ(connectionReasonText(14), "the answer is larger than allowed");
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
