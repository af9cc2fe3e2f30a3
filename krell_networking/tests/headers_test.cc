// Tests header fields, and what cannot be one.
#include "net/headers.h"

#include <gtest/gtest.h>

#include <string>

#include "header_fields.h"

namespace {

using Krell::Networking::Headers;

TEST(Headers, KeepsAFieldGivenByLengthOrTerminator) {
  Headers headers;
  int index = -1;
  EXPECT_NE(headers.internalSet("User-Agent", -2, "mtldownloader", -1, 1, &index), 0);
  EXPECT_EQ(index, 0);
  EXPECT_NE(headers.internalSet("X-Test-Cut", 6, "value", 3, 1, &index), 0);
  EXPECT_EQ(index, 1);
  ASSERT_EQ(headers.fields().list.size(), 2U);
  EXPECT_EQ(headers.fields().list[0].name, "User-Agent");
  EXPECT_EQ(headers.fields().list[0].value, "mtldownloader");
  EXPECT_EQ(headers.fields().list[1].name, "X-Test");
  EXPECT_EQ(headers.fields().list[1].value, "val");
}

TEST(Headers, ReplacesAFieldOnlyWhenAsked) {
  Headers headers;
  headers.internalSet("A", -1, "1", -1, 1, nullptr);
  headers.internalSet("A", -1, "2", -1, 1, nullptr);
  EXPECT_EQ(headers.fields().list.size(), 1U);
  EXPECT_EQ(headers.fields().list[0].value, "2");
  headers.internalSet("A", -1, "3", -1, 0, nullptr);
  EXPECT_EQ(headers.fields().list.size(), 2U);
}

TEST(Headers, RefusesWhatWouldChangeTheRequest) {
  Headers headers;
  EXPECT_EQ(headers.internalSet("A", -1, "1\r\nB: 2", -1, 1, nullptr), 0);
  EXPECT_EQ(headers.internalSet("A:", -1, "1", -1, 1, nullptr), 0);
  EXPECT_EQ(headers.internalSet("", -1, "1", -1, 1, nullptr), 0);
  EXPECT_EQ(headers.internalSet(nullptr, -1, "1", -1, 1, nullptr), 0);
  EXPECT_TRUE(headers.fields().list.empty());
}

TEST(Headers, HoldsEveryByteInAValueButControls) {
  for (int byte = 0; byte < 256; ++byte) {
    const char value[] = {'a', static_cast<char>(byte), 'b'};
    const bool control = (byte < 0x20 && byte != '\t') || byte == 0x7F;
    Headers headers;
    EXPECT_EQ(headers.internalSet("A", -1, value, 3, 1, nullptr) == 0, control) << byte;
  }
}

TEST(Headers, HoldsOnlyLettersDigitsAndFifteenSignsInAName) {
  const std::string signs = "!#$%&'*+-.^_`|~";
  for (int byte = 0; byte < 256; ++byte) {
    const char name[] = {'a', static_cast<char>(byte), 'b'};
    const bool plain = (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') ||
                       (byte >= 'a' && byte <= 'z') ||
                       signs.find(static_cast<char>(byte)) != std::string::npos;
    Headers headers;
    EXPECT_EQ(headers.internalSet(name, 3, "1", -1, 1, nullptr) != 0, plain) << byte;
  }
}

}  // namespace
