// Tests splitting "host:port".
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "net/context.h"
#include "server_address.h"

namespace {

struct Split {
  std::string host;
  int port;
  bool wellFormed;
};

Split split(const char* text) {
  QUtils::CharString host;
  int port = -1;
  const bool wellFormed =
      Krell::Networking::parseServerWithPort(text, text + std::strlen(text), host, port) != 0;
  return {host.text(), port, wellFormed};
}

void expectSplit(const char* text, const char* host, int port) {
  const Split result = split(text);
  EXPECT_EQ(result.host, host) << text;
  EXPECT_EQ(result.port, port) << text;
  EXPECT_TRUE(result.wellFormed) << text;
}

TEST(ParseServerWithPort, LeavesThePortAloneWithoutOne) {
  expectSplit("proxy.lan", "proxy.lan", -1);
  expectSplit("proxy.lan:", "proxy.lan", -1);
}

TEST(ParseServerWithPort, SplitsAtTheColon) {
  expectSplit("proxy.lan:3128", "proxy.lan", 3128);
  expectSplit("h:0", "h", 0);
  expectSplit("h:65535", "h", 65535);
}

TEST(ParseServerWithPort, DropsTheBracketsOfAnIpv6Address) {
  expectSplit("[::1]", "::1", -1);
  expectSplit("[2001:db8::1]:8080", "2001:db8::1", 8080);
}

TEST(ParseServerWithPort, TakesAMalformedTextWhole) {
  for (const char* text :
       {"h:80x", "h:65536", "h:999999", "h:-1", "[::1]x", "[::1", "h: 80", "::1", "a:b:1"}) {
    const Split result = split(text);
    EXPECT_EQ(result.host, text);
    EXPECT_EQ(result.port, -1);
    EXPECT_FALSE(result.wellFormed) << text;
  }
}

TEST(HostAndPort, PutsAnIpv6AddressInBrackets) {
  EXPECT_EQ(Krell::Networking::hostAndPort("::1", 80), "[::1]:80");
  EXPECT_EQ(Krell::Networking::hostAndPort("h", 80), "h:80");
}

}  // namespace
