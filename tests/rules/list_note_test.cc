// Tests what a stamp says of the list of its release.
#include "rules/list_note.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using mtlrules::ListNote;
using mtlrules::noteFrom;
using mtlrules::noteInStamp;
using mtlrules::noteText;

const std::string kDigest(64, 'c');
const std::string kWhole = "list: 812 bytes, sha256 " + kDigest + ", compressed, differences";

TEST(ListNote, SaysEverythingInOneOrder) {
  EXPECT_EQ(noteText({812, kDigest, true, true}), kWhole);
  EXPECT_EQ(noteText({812, kDigest, false, false}), "list: 812 bytes, sha256 " + kDigest);
  EXPECT_EQ(noteText({0, kDigest, true, false}),
            "list: 0 bytes, sha256 " + kDigest + ", compressed");
  EXPECT_EQ(noteText({812, "", false, false}), "list: 812 bytes");
}

TEST(ListNote, OffersNothingWithoutADigest) {
  EXPECT_EQ(noteText({812, "", true, true}), "list: 812 bytes");
  EXPECT_FALSE(noteFrom("list: 812 bytes, compressed"));
}

TEST(ListNote, IsReadAsItWasWritten) {
  for (const ListNote& note : {ListNote{812, kDigest, true, true}, ListNote{0, "", false, false},
                               ListNote{18446744073709551615U, kDigest, false, true}}) {
    const auto read = noteFrom(noteText(note));
    ASSERT_TRUE(read) << noteText(note);
    EXPECT_TRUE(*read == note) << noteText(note);
  }
}

TEST(ListNote, IsNoneWhenAnyByteIsMissingOrOneTooMany) {
  for (std::size_t i = 0; i <= kWhole.size(); ++i) {
    std::string more = kWhole;
    more.insert(i, 1, ' ');
    EXPECT_FALSE(noteFrom(more)) << more;
  }
  for (std::size_t i = 0; i < kWhole.size(); ++i) {
    const std::string less = std::string(kWhole).erase(i, 1);
    if (less.find("list: ") == 0 && less.find(" bytes,") != less.npos && less.size() > 6 &&
        i >= 6 && i < 9) {
      continue;  // Another size.
    }
    EXPECT_FALSE(noteFrom(less)) << less;
  }
}

TEST(ListNote, IsNoneWithADigestOfAnotherForm) {
  for (const std::string& digest :
       {std::string(63, 'c'), std::string(65, 'c'), std::string(64, 'C'), std::string(64, 'g')}) {
    EXPECT_FALSE(noteFrom("list: 812 bytes, sha256 " + digest)) << digest;
  }
}

TEST(ListNote, StandsBehindTheIdInAStamp) {
  const std::string id(64, 'a');
  const std::string stamp = mtlrules::stampText(id, {812, kDigest, true, true});
  EXPECT_EQ(stamp, id + "\n" + kWhole + "\n");
  const auto note = noteInStamp(stamp);
  ASSERT_TRUE(note);
  EXPECT_EQ(note->size, 812U);
}

TEST(ListNote, IsNotInOtherStamps) {
  const std::string id(64, 'a');
  for (const std::string& stamp :
       {std::string(), std::string("1\n"), id, id + "\n", id + "\n" + kWhole,
        id + "\r\n" + kWhole + "\n", id + "\n" + kWhole + "\n\n", "a" + id + "\n" + kWhole + "\n",
        std::string(64, 'x') + "\n" + kWhole + "\n"}) {
    EXPECT_FALSE(noteInStamp(stamp)) << stamp;
  }
}

TEST(ListForm, IsWhatStandsBesideTheList) {
  EXPECT_EQ(mtlrules::differenceName(kDigest), "changes/" + kDigest + ".gz");
  for (const std::string& path : {std::string("filelist.json.gz"), std::string("FileList.JSON.gz"),
                                  "changes/" + kDigest + ".gz", "Changes/" + kDigest + ".GZ"}) {
    EXPECT_TRUE(mtlrules::isListForm(path)) << path;
  }
  for (const std::string& path :
       {std::string("filelist.json"), std::string("maps/filelist.json.gz"), std::string("changes"),
        std::string("changes/a.gz"), "changes/" + kDigest, "x/changes/" + kDigest + ".gz",
        "changes/" + std::string(64, 'x') + ".gz"}) {
    EXPECT_FALSE(mtlrules::isListForm(path)) << path;
  }
}

}  // namespace
