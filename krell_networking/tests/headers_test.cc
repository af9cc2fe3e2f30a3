// Header fields, and what cannot be one.
#include "net/headers.h"

#include <gtest/gtest.h>

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

}  // namespace
