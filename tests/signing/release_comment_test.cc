// Tests which releases are valid, and the one comment for each.
#include "signing/release_comment.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using mtlsigning::commentText;
using mtlsigning::Release;
using mtlsigning::releaseFrom;
using mtlsigning::utcText;

Release wholeRelease() {
  Release release;
  release.library = "Oak & Söhne";
  release.subPath = "beta/2";
  release.serial = 1767225600;
  release.published = 1767225600;
  release.expires = 1798761600;
  release.list.size = 812;
  return release;
}

const std::string kWhole =
    "library: Oak & Söhne; sub-path: beta/2; serial: 1767225600; published: 2026-01-01T00:00:00Z; "
    "expires: 2027-01-01T00:00:00Z; list: 812 bytes";
const std::string kLeast =
    "library: oak; serial: 7; published: 2024-02-29T23:59:59Z; list: 0 bytes";

std::string replaced(std::string text, const std::string& what, const std::string& by) {
  return text.replace(text.find(what), what.size(), by);
}

TEST(ReleaseComment, SaysEverythingInOneOrder) {
  EXPECT_EQ(commentText(wholeRelease()), kWhole);
  Release release = wholeRelease();
  release.subPath.clear();
  release.expires.reset();
  EXPECT_EQ(commentText(release),
            "library: Oak & Söhne; serial: 1767225600; published: 2026-01-01T00:00:00Z; "
            "list: 812 bytes");
}

TEST(ReleaseComment, IsReadAsItWasWritten) {
  EXPECT_TRUE(releaseFrom(kWhole) == wholeRelease());
  const auto least = releaseFrom(kLeast);
  ASSERT_TRUE(least);
  EXPECT_EQ(least->library, "oak");
  EXPECT_EQ(least->subPath, "");
  EXPECT_EQ(least->serial, 7U);
  EXPECT_EQ(least->published, 1709251199);
  EXPECT_FALSE(least->expires);
  EXPECT_EQ(least->list.size, 0U);
}

TEST(ReleaseComment, IsNoneWhenAnyByteIsMissingOrOneTooMany) {
  for (std::size_t i = 0; i <= kLeast.size(); ++i) {
    std::string more = kLeast;
    more.insert(i, 1, ';');
    EXPECT_FALSE(releaseFrom(more)) << more;
  }
  // Other values can be meant by what is left of a name or a number.
  for (std::size_t i = 0; i < kLeast.size(); ++i)
    EXPECT_FALSE(releaseFrom(kLeast.substr(0, i))) << i;
}

TEST(ReleaseComment, IsNoneWhenItCouldBeWrittenInAnotherWay) {
  for (const std::string& text :
       {std::string(), " " + kLeast, kLeast + " ", kLeast + "\n",
        replaced(kLeast, "serial: 7", "serial: 07"), replaced(kLeast, "serial: 7", "serial: +7"),
        replaced(kLeast, "serial: 7", "serial: -7"), replaced(kLeast, "serial: 7", "serial: "),
        replaced(kLeast, "0 bytes", "00 bytes"), replaced(kLeast, "0 bytes", "0 byte"),
        replaced(kLeast, "; serial", "; sub-path: ; serial"),
        replaced(kLeast, "; serial", "; sub-path: a//b; serial"),
        replaced(kLeast, "; serial", "; sub-path: ../b; serial"),
        replaced(kLeast, "; serial", ";  serial"), replaced(kLeast, "; list", "; size: 1; list"),
        replaced(kWhole, "expires", "Expires"), replaced(kWhole, "Oak", "Oak\t")}) {
    EXPECT_FALSE(releaseFrom(text)) << text;
  }
}

TEST(ReleaseComment, IsNoneWithATimeThatThereIsNot) {
  for (const char* time : {"2023-02-29T00:00:00Z", "2024-02-30T00:00:00Z", "2024-13-01T00:00:00Z",
                           "2024-00-10T00:00:00Z", "2024-01-00T00:00:00Z", "2024-04-31T00:00:00Z",
                           "2024-01-01T24:00:00Z", "2024-01-01T00:60:00Z", "2024-01-01T00:00:60Z",
                           "1969-12-31T23:59:59Z", "2024-01-01 00:00:00Z", "2024-01-01T00:00:00z",
                           "2024-01-01", "2024-01-01T00:00:-1Z"}) {
    EXPECT_FALSE(releaseFrom(replaced(kLeast, "2024-02-29T23:59:59Z", time))) << time;
  }
}

TEST(ReleaseComment, IsNoneWithANumberThatIsTooLarge) {
  EXPECT_TRUE(releaseFrom(replaced(kLeast, "serial: 7", "serial: 999999999999999")));
  EXPECT_FALSE(releaseFrom(replaced(kLeast, "serial: 7", "serial: 1000000000000000")));
  EXPECT_TRUE(releaseFrom(replaced(kLeast, "list: 0", "list: 18446744073709551615")));
  EXPECT_FALSE(releaseFrom(replaced(kLeast, "list: 0", "list: 18446744073709551616")));
}

TEST(ReleaseComment, KnowsTheTimeOfEachDay) {
  EXPECT_EQ(utcText(0), "1970-01-01T00:00:00Z");
  EXPECT_EQ(utcText(951782400), "2000-02-29T00:00:00Z");
  EXPECT_EQ(utcText(951868800), "2000-03-01T00:00:00Z");
  EXPECT_EQ(utcText(4107542399), "2100-02-28T23:59:59Z");
  EXPECT_EQ(utcText(4107542400), "2100-03-01T00:00:00Z");
  EXPECT_EQ(utcText(253402300799), "9999-12-31T23:59:59Z");
  Release release = wholeRelease();
  // Days of some 800 years, each at another time of it.
  for (std::int64_t day = 0; day < 292200; day += 17) {
    release.published = day * 86400 + day * 7919 % 86400;
    const auto read = releaseFrom(commentText(release));
    ASSERT_TRUE(read && read->published == release.published) << commentText(release);
  }
}

TEST(LibraryName, IsVisibleAndShort) {
  for (const std::string& name : {std::string("oak"), std::string("Größe 2 (neu)"),
                                  std::string("a:b"), std::string(100, 'x')})
    EXPECT_TRUE(mtlsigning::isLibraryName(name)) << name;
  for (const std::string& name :
       {std::string(), std::string(101, 'x'), std::string(" oak"), std::string("oak "),
        std::string("a;b"), std::string("a\nb"), std::string("a\xff"),
        std::string("\xe2\x80\xae x"), std::string("a\0b", 3)})
    EXPECT_FALSE(mtlsigning::isLibraryName(name)) << name;
}

TEST(SignableSubPath, IsWrittenInOneWay) {
  for (const char* path : {"", "beta", "a/b", "ä b"})
    EXPECT_TRUE(mtlsigning::isSignableSubPath(path)) << path;
  for (const char* path : {"/beta", "beta/", "a//b", "./a", "..", "a\\b", "a;b", " a", "a\n"})
    EXPECT_FALSE(mtlsigning::isSignableSubPath(path)) << path;
}

}  // namespace
