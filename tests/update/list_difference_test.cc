// Tests reading and writing differences between lists.
#include "update/list_difference.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "digest_of.h"

namespace mtlupdate {
namespace {

using Piece = ListDifference::Piece;

const std::string kOld = "[\na,\nb,\nc\n]\n";
const std::string kNew = "[\na,\nnew\nc\n]\n";

ListIdentity identityOf(const std::string& list) {
  return {list.size(), *digestOf(list)};
}

ListDifference example() {
  return {{3, identityOf(kOld), identityOf(kNew)},
          {Piece{0, 5, {}}, Piece{0, 4, "new\n"}, Piece{8, 4, {}}}};
}

std::string head() {
  return "mtllib list difference 1\nbuilds 3\nfrom 12 " + hexText(digestOf(kOld)) + "\nto 13 " +
         hexText(digestOf(kNew)) + "\n";
}

std::string replaced(std::string text, const std::string& what, const std::string& by) {
  return text.replace(text.find(what), what.size(), by);
}

/// Makes the new list.
class Maker : public DifferenceReader::Handler {
 public:
  Outcome beginLists(const DifferenceHead& head) override {
    builds = head.builds;
    return {};
  }
  Outcome copy(std::uint64_t size) override {
    list += kOld.substr(offset_, size);
    return leaveOut(size);
  }
  Outcome leaveOut(std::uint64_t size) override {
    offset_ += size;
    return {};
  }
  Outcome insert(std::string_view bytes) override {
    list += bytes;
    return {};
  }

  std::uint64_t builds = 0;
  std::string list{};

 private:
  std::size_t offset_ = 0;
};

TEST(ListDifferenceText, IsReadable) {
  EXPECT_EQ(differenceText(example()), head() + "=5\n+4\nnew\n-3\n=4\n");
}

TEST(DifferenceReader, MakesTheNewListOfTheOldOne) {
  const std::string text = differenceText(example());
  for (const std::size_t piece : {std::size_t{1}, std::size_t{7}, text.size()}) {
    Maker maker;
    DifferenceReader reader(maker);
    for (std::size_t i = 0; i < text.size(); i += piece)
      ASSERT_FALSE(reader.feed(std::string_view(text).substr(i, piece)));
    ASSERT_FALSE(reader.finish());
    EXPECT_EQ(maker.list, kNew);
    EXPECT_EQ(maker.builds, 3U);
  }
}

TEST(DifferenceReader, RefusesADifferenceThatIsCut) {
  const std::string text = differenceText(example());
  for (std::size_t size = 0; size < text.size(); ++size)
    EXPECT_FALSE(parseDifference(text.substr(0, size))) << size;
}

TEST(DifferenceReader, RefusesWhatIsWrittenInAnotherWay) {
  const std::string text = differenceText(example());
  ASSERT_TRUE(parseDifference(text));
  for (const auto& [what, by] : {std::pair("difference 1", "difference 2"),
                                 std::pair("builds 3", "builds 0"),
                                 std::pair("builds 3", "builds 03"),
                                 std::pair("builds 3", "builds -3"),
                                 std::pair("builds 3\n", ""),
                                 std::pair("from 12", "from 012"),
                                 std::pair("from 12", "from 4"),
                                 std::pair("to 13", "to 12"),
                                 std::pair("to 13", "to 14"),
                                 std::pair("=5", "=05"),
                                 std::pair("=5", "=5 "),
                                 std::pair("=5", "= 5"),
                                 std::pair("=5", "=0\n=5"),
                                 std::pair("=5", "*5"),
                                 std::pair("=5", "5"),
                                 std::pair("=5", "=4"),
                                 std::pair("=5", "=99"),
                                 std::pair("=5", "=18446744073709551615"),
                                 std::pair("=5", "=18446744073709551617"),
                                 std::pair("=5", "=4294967301"),
                                 std::pair("+4", "+18446744073709551615"),
                                 std::pair("+4", "+3"),
                                 std::pair("+4", "+5"),
                                 std::pair("-3", "-9"),
                                 std::pair("-3", "-4"),
                                 std::pair("-3", "-18446744073709551613"),
                                 std::pair("=5", "\n=5"),
                                 std::pair("=5\n", "=5\r\n"),
                                 std::pair("=4\n", "=4\n-1\n"),
                                 std::pair("=4\n", "=4\n\n"),
                                 std::pair("=4\n", "=4\nx")}) {
    EXPECT_FALSE(parseDifference(replaced(text, what, by))) << what << ": " << by;
  }
}

TEST(DifferenceReader, TakesNoLineWithoutEnd) {
  Maker maker;
  DifferenceReader reader(maker);
  EXPECT_TRUE(reader.feed(std::string(1000, 'x')));
}

TEST(DifferenceReader, GoesOnWithWhatTheHandlerDoes) {
  class Full : public Maker {
    Outcome insert(std::string_view /*bytes*/) override {
      return Failure{Failure::Kind::kDisk, "full"};
    }
  };
  Full full;
  DifferenceReader reader(full);
  const Outcome failure = reader.feed(differenceText(example()));
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->text, "full");
}

TEST(ListDifferenceText, IsReadAsItWasWritten) {
  const auto read = parseDifference(differenceText(example()));
  ASSERT_TRUE(read);
  EXPECT_EQ(differenceText(*read), differenceText(example()));
  EXPECT_TRUE(read->head.from == identityOf(kOld));
  EXPECT_TRUE(read->head.to == identityOf(kNew));
}

}  // namespace
}  // namespace mtlupdate
