// Tests which hosts the server answers for.
#include "mtlpublish/host_field.h"

#include <gtest/gtest.h>

namespace {

using mtlpublish::isHostName;
using mtlpublish::isOwnHost;

TEST(HostField, MayHoldAnAddress) {
  for (const char* field : {"127.0.0.1", "127.0.0.1:8080", "192.168.1.20", "10.0.0.255:1", "[::1]",
                            "[::1]:8080", "[fe80::1]"})
    EXPECT_TRUE(isOwnHost(field, {})) << field;
}

TEST(HostField, MayHoldLocalhost) {
  for (const char* field : {"localhost", "LocalHost:8080", "localhost."})
    EXPECT_TRUE(isOwnHost(field, {})) << field;
}

TEST(HostField, HoldsNoOtherName) {
  for (const char* field :
       {"", ":80", ".", "evil.example", "localhost.evil.example", "evil.localhost",
        "127.0.0.1.evil.example", "127.0.0.1evil", "1.2.3", "1.2.3.4.5", "1.2.3.256", "1.2.3.-4",
        "127.0.0.1:80x", "[]", "[::1", "::1", "a@127.0.0.1", "127.0.0.1/x"})
    EXPECT_FALSE(isOwnHost(field, {})) << field;
}

TEST(HostField, MayHoldANameThatWasGiven) {
  EXPECT_TRUE(isOwnHost("maps.lan:8080", {"other", "Maps.LAN"}));
  EXPECT_TRUE(isOwnHost("maps.lan", {"maps.lan."}));
  EXPECT_FALSE(isOwnHost("my.maps.lan", {"maps.lan"}));
  EXPECT_FALSE(isOwnHost("", {"maps.lan", "."}));
}

TEST(HostName, HasLettersDigitsDotsAndLines) {
  for (const char* name : {"maps", "maps.lan", "Maps-2.lan.", "my_maps"})
    EXPECT_TRUE(isHostName(name)) << name;
  for (const char* name : {"", "maps:80", "a b", "http://maps", "maps/", "*.lan"})
    EXPECT_FALSE(isHostName(name)) << name;
}

}  // namespace
