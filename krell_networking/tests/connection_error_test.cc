// Tests the numbers that report failures.
#include "connection_error.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>

namespace {

using Krell::Networking::ConnectionError;
using Krell::Networking::describeFailure;

class DescribeFailure : public testing::Test {
 protected:
  std::uint32_t codeOf(int curlCode, bool viaProxy) {
    const ConnectionError error =
        describeFailure(easy_.get(), static_cast<CURLcode>(curlCode), viaProxy);
    EXPECT_EQ(error.underlying, curlCode);
    return error.code;
  }

 private:
  struct Cleanup {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
  };
  // Has never connected, so that the system has no number to add.
  std::unique_ptr<CURL, Cleanup> easy_{curl_easy_init()};
};

TEST_F(DescribeFailure, GivesEachCauseItsReason) {
  const std::map<int, std::uint32_t> reasons = {
      {6, 1},                                           // resolve
      {7, 2},   {45, 2},                                // connect
      {35, 3},  {58, 3},  {59, 3},  {64, 3},  {80, 3},  // TLS
      {5, 4},   {97, 4},                                // proxy
      {55, 5},                                          // send
      {52, 6},  {56, 6},                                // receive
      {18, 7},                                          // truncated
      {28, 8},                                          // timeout
      {42, 9},                                          // aborted
      {1, 10},  {8, 10},  {61, 10},                     // protocol
      {27, 11},                                         // memory
      {60, 13}, {77, 13}, {83, 13}, {91, 13},           // certificate
  };
  for (int curlCode = 1; curlCode < 100; ++curlCode) {
    const auto found = reasons.find(curlCode);
    EXPECT_EQ(codeOf(curlCode, false), found != reasons.end() ? found->second : 12U) << curlCode;
  }
}

TEST_F(DescribeFailure, BlamesTheProxyForAConnectionThatFailed) {
  EXPECT_EQ(codeOf(7, true), 4U);
  EXPECT_EQ(codeOf(45, true), 4U);
}

TEST_F(DescribeFailure, BlamesTheProxyForNothingElse) {
  EXPECT_EQ(codeOf(6, true), 1U);
  EXPECT_EQ(codeOf(56, true), 6U);
  EXPECT_EQ(codeOf(28, true), 8U);
  EXPECT_EQ(codeOf(18, true), 7U);
}

}  // namespace
