// Tests what HTTP says about files.
#include "mtlpublish/http_file.h"

#include <gtest/gtest.h>

namespace {

using mtlpublish::allowsPart;
using mtlpublish::entityTag;
using mtlpublish::FileState;
using mtlpublish::httpDate;
using mtlpublish::isKnown;
using mtlpublish::lastModified;

// Sun, 06 Nov 1994 08:49:37 GMT and a half.
const FileState kState{255, 784'111'777'500'000'000, 784'111'777'500'000'000, 1};

TEST(HttpFile, WritesDatesAsHttpDoes) {
  EXPECT_EQ(httpDate(784'111'777), "Sun, 06 Nov 1994 08:49:37 GMT");
  EXPECT_EQ(httpDate(0), "Thu, 01 Jan 1970 00:00:00 GMT");
  EXPECT_EQ(lastModified(kState), "Sun, 06 Nov 1994 08:49:37 GMT");
}

TEST(HttpFile, HasAnotherTagOnceItIsWritten) {
  const std::string tag = entityTag(kState);
  EXPECT_EQ(tag, "\"ae1b981da166f00-ae1b981da166f00-ff\"");
  FileState other = kState;
  ++other.modified;
  EXPECT_NE(entityTag(other), tag);
  other = kState;
  ++other.changed;
  EXPECT_NE(entityTag(other), tag);
  other = kState;
  ++other.size;
  EXPECT_NE(entityTag(other), tag);
}

TEST(HttpFile, IsKnownByItsTag) {
  const std::string tag = entityTag(kState);
  EXPECT_TRUE(isKnown(tag, "", kState));
  EXPECT_TRUE(isKnown("W/" + tag, "", kState));
  EXPECT_TRUE(isKnown("\"a\",  " + tag + " ,\"b\"", "", kState));
  EXPECT_TRUE(isKnown("*", "", kState));
  EXPECT_FALSE(isKnown("\"a\", \"b\"", "", kState));
  EXPECT_FALSE(isKnown("\"a\"", lastModified(kState), kState)) << "the tag counts";
  EXPECT_FALSE(isKnown(" , ,", "", kState));
}

TEST(HttpFile, IsKnownByItsTime) {
  EXPECT_TRUE(isKnown("", " Sun, 06 Nov 1994 08:49:37 GMT", kState));
  EXPECT_FALSE(isKnown("", "Sun, 06 Nov 1994 08:49:38 GMT", kState));
  EXPECT_FALSE(isKnown("", "", kState));
}

TEST(HttpFile, IsSentInPartToWhoHasTheRest) {
  EXPECT_TRUE(allowsPart("", kState));
  EXPECT_TRUE(allowsPart(entityTag(kState), kState));
  EXPECT_TRUE(allowsPart("Sun, 06 Nov 1994 08:49:37 GMT", kState));
  EXPECT_FALSE(allowsPart("\"other\"", kState));
  EXPECT_FALSE(allowsPart("Sun, 06 Nov 1994 08:49:36 GMT", kState));
  EXPECT_FALSE(allowsPart("W/" + entityTag(kState), kState));
}

}  // namespace
