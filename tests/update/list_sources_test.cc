// Tests where runs get the list of a release from, and what they ask the server for.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <string>

#include "rules/list_note.h"
#include "signing/release_comment.h"
#include "support/signed_library.h"
#include "update/gzip.h"
#include "update/list_difference.h"
#include "updater_fixture.h"

namespace mtlupdate {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string sha256Of(const std::string& text) {
  Sha256 sha256;
  sha256.update(text);
  return hexText(sha256.finish());
}

ListIdentity identityOfList(const std::string& list) {
  return {list.size(), *digestFrom(sha256Of(list))};
}

/// What both have at their beginnings and ends is copied, the rest is new.
ListDifference differenceBetween(const std::string& from, const std::string& to) {
  const std::size_t most = std::min(from.size(), to.size());
  std::size_t front = 0;
  while (front < most && from[front] == to[front])
    ++front;
  std::size_t back = 0;
  while (back < most - front && from[from.size() - 1 - back] == to[to.size() - 1 - back])
    ++back;
  ListDifference difference{{1, identityOfList(from), identityOfList(to)}, {}};
  if (front > 0) difference.pieces.push_back({0, front, {}});
  const std::string text = to.substr(front, to.size() - front - back);
  if (!text.empty()) difference.pieces.push_back({0, text.size(), text});
  if (back > 0) difference.pieces.push_back({from.size() - back, back, {}});
  return difference;
}

/// Releases with lists in every form, signed or not.
class ListSourcesTest : public UpdaterFixture, public testing::WithParamInterface<bool> {
 protected:
  ListSourcesTest() {
    if (GetParam()) options_.trust.keys = {signed_.key.publicKey()};
    timing_.clock = SignedLibrary::kFirstTime;
  }

  void publishRelease(const Files& files) {
    lastList_ = signed_.list();
    lastStamp_ = signed_.stamp();
    publishRelease(files, true, true);
    server_.serve("/lib/filelist.json.gz", gzipped(list()));
    if (!lastStamp_.empty()) {
      serveDifference(gzipped(differenceText(differenceBetween(lastList_, list()))));
    }
  }

  void publishRelease(const Files& files, bool isCompressed, bool hasDifferences) {
    isCompressed_ = isCompressed;
    hasDifferences_ = hasDifferences;
    signed_.publish(files);
    serveStamp();
  }

  /// The stamp of the list that is there.
  void serveStamp() {
    const mtlrules::ListNote note{list().size(), sha256Of(list()), isCompressed_, hasDifferences_};
    if (GetParam()) {
      signed_.release.list = note;
      signed_.serveStamp(mtlsigning::signatureFile(
          signed_.key.sign(list(), mtlsigning::commentText(signed_.release))));
    } else {
      signed_.serveStamp(
          mtlrules::stampText(sha256Of(list() + std::to_string(signed_.release.serial)), note));
    }
  }

  void serveDifference(const std::string& packed) {
    server_.serve(differenceOf(lastStamp_), packed);
  }
  static std::string differenceOf(const std::string& stamp) {
    return "/lib/" + mtlrules::differenceName(sha256Of(stamp));
  }
  std::string askedDifference() const { return "GET " + differenceOf(lastStamp_); }

  const std::string& list() const { return signed_.list(); }

  void expectCopyOf(const Files& files) { EXPECT_EQ(copy(), with(signed_.stamp(), files)); }

  std::string kept() const {
    std::ifstream file(dir_ / "copy/.mtllib/filelist.json", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  SignedLibrary signed_{server_, "/lib"};
  std::string lastStamp_;
  std::string lastList_;
  bool isCompressed_ = false;
  bool hasDifferences_ = false;
};

INSTANTIATE_TEST_SUITE_P(EachWay, ListSourcesTest, testing::Bool(),
                         [](const auto& test) { return test.param ? "Signed" : "Unsigned"; });

/// What holds for signed libraries alone.
class SignedListSourcesTest : public ListSourcesTest {};

INSTANTIATE_TEST_SUITE_P(, SignedListSourcesTest, testing::Values(true),
                         [](const auto& /*test*/) { return "Signed"; });

const std::string kStamp = "GET /lib/id.txt";
const std::string kList = "GET /lib/filelist.json";
const std::string kCompressed = "GET /lib/filelist.json.gz";
const std::string kA = "GET /lib/a.tx";
const std::string kB = "GET /lib/b.tx";

TEST_P(ListSourcesTest, ANewCopyAsksForTheCompressedList) {
  publishRelease({{"a.tx", "one"}});
  updateWell();
  EXPECT_THAT(requests(), ElementsAre(kStamp, kCompressed, kA));
  expectCopyOf({{"a.tx", "one"}});
  EXPECT_EQ(kept(), list());
}

TEST_P(ListSourcesTest, AnUpdateAsksForTheDifferenceFromItsOwnStamp) {
  publishRelease({{"a.tx", "one"}, {"b.tx", "the same"}});
  updateWell();
  publishRelease({{"a.tx", "two"}, {"b.tx", "the same"}});
  updateWell();
  EXPECT_THAT(requests(), ElementsAre(kStamp, askedDifference(), kA));
  expectCopyOf({{"a.tx", "two"}, {"b.tx", "the same"}});
  EXPECT_EQ(kept(), list());
  // And so on.
  publishRelease({{"b.tx", "another"}});
  updateWell();
  EXPECT_THAT(requests(), ElementsAre(kStamp, askedDifference(), kB));
}

TEST_P(ListSourcesTest, AStampThatOffersNothingHasTheListAskedFor) {
  publishRelease({{"a.tx", "one"}}, false, false);
  updateWell();
  EXPECT_THAT(requests(), ElementsAre(kStamp, kList, kA));
  publishRelease({{"a.tx", "two"}}, false, false);
  updateWell();
  EXPECT_THAT(requests(), ElementsAre(kStamp, kList, kA));
}

TEST_P(ListSourcesTest, AStampThatSaysNothingOfItsListHasTheListAskedFor) {
  publishRelease({{"a.tx", "one"}});
  updateWell();
  signed_.release.list = {};
  signed_.publish({{"a.tx", "two"}});
  if (!GetParam()) signed_.serveStamp("another stamp");
  updateWell();
  EXPECT_THAT(requests(), ElementsAre(kStamp, kList, kA));
  publishRelease({{"a.tx", "three"}});
  updateWell();
  // There is no telling whether the list that is kept is that of the copy's stamp.
  EXPECT_THAT(requests(), ElementsAre(kStamp, kCompressed, kA));
}

TEST_P(ListSourcesTest, ADifferenceThatIsNotThereIsDoneWithout) {
  publishRelease({{"a.tx", "one"}});
  updateWell();
  publishRelease({{"a.tx", "two"}});
  server_.remove(differenceOf(lastStamp_));
  updateWell();
  EXPECT_THAT(requests(), ElementsAre(kStamp, askedDifference(), kCompressed, kA));
  publishRelease({{"a.tx", "three"}});
  server_.remove(differenceOf(lastStamp_));
  server_.remove("/lib/filelist.json.gz");
  updateWell();
  EXPECT_THAT(requests(), ElementsAre(kStamp, askedDifference(), kCompressed, kList, kA));
  expectCopyOf({{"a.tx", "three"}});
}

TEST_P(ListSourcesTest, AWrongDifferenceIsDoneWithout) {
  publishRelease({{"a.tx", "one"}, {"b.tx", "the same"}});
  const Files files{{"a.tx", "two"}, {"b.tx", "the same"}};
  for (int wrong = 0; wrong < 9; ++wrong) {
    options_.folder = dir_ / std::to_string(wrong);
    if (wrong > 0) publishRelease({{"a.tx", "one"}, {"b.tx", "the same"}});
    updateWell();
    publishRelease(files);
    const ListDifference right = differenceBetween(lastList_, list());
    const std::string packed = gzipped(differenceText(right));
    ListDifference other = right;
    std::string sent;
    switch (wrong) {
      case 0:  // No gzip.
        sent = differenceText(right);
        break;
      case 1:  // Cut.
        sent = packed.substr(0, packed.size() / 2);
        break;
      case 2:  // Damaged.
        sent = packed;
        sent[packed.size() / 2] = static_cast<char>(~sent[packed.size() / 2]);
        break;
      case 3:  // From another list.
        other.head.from = identityOfList(lastList_ + "\n");
        sent = gzipped(differenceText(other));
        break;
      case 4:  // To another list.
        other.head.to.sha256 = other.head.from.sha256;
        sent = gzipped(differenceText(other));
        break;
      case 5:  // To another list, but for its head.
        for (ListDifference::Piece& piece : other.pieces) {
          if (!piece.text.empty()) piece.text.back() = 'x';
        }
        sent = gzipped(differenceText(other));
        break;
      case 6:  // Beyond the end of the old list.
        other.pieces = {{0, right.head.from.size + 1, {}}};
        sent = gzipped(differenceText(other));
        break;
      case 7:  // A bomb.
        sent = gzipped(differenceText(right) + std::string(20000000, '\n'));
        break;
      default:  // Much more than a list.
        sent = std::string(1000000, 'x');
    }
    serveDifference(sent);
    updateWell();
    EXPECT_THAT(requests(), ElementsAre(kStamp, askedDifference(), kCompressed, kA)) << wrong;
    EXPECT_EQ(copy(), with(signed_.stamp(), files)) << wrong;
  }
}

TEST_P(ListSourcesTest, AWrongCompressedListIsDoneWithout) {
  const Files files{{"a.tx", "one"}};
  publishRelease(files);
  const std::string packed = gzipped(list());
  int number = 0;
  for (const std::string& sent :
       {list(), packed.substr(0, packed.size() - 1), packed + "x", gzipped("[]\n"),
        gzipped(list() + std::string(20000000, '\n')), gzipped(""), std::string(1000000, 'x')}) {
    options_.folder = dir_ / std::to_string(number++);
    server_.serve("/lib/filelist.json.gz", sent);
    updateWell();
    EXPECT_THAT(requests(), ElementsAre(kStamp, kCompressed, kList, kA)) << number;
    expectCopyOf(files);
  }
}

TEST_P(ListSourcesTest, AKeptListThatWasChangedIsNoneToBeginWith) {
  publishRelease({{"a.tx", "one"}});
  updateWell();
  std::string damaged = list();
  damaged[damaged.size() / 2] ^= 1;
  write(".mtllib/filelist.json", damaged);
  publishRelease({{"a.tx", "two"}});
  updateWell();
  EXPECT_THAT(requests(), ElementsAre(kStamp, kCompressed, kA));
  std::filesystem::remove(dir_ / "copy/.mtllib/filelist.json");
  publishRelease({{"a.tx", "three"}});
  updateWell();
  EXPECT_THAT(requests(), ElementsAre(kStamp, kCompressed, kA));
  expectCopyOf({{"a.tx", "three"}});
}

TEST_P(ListSourcesTest, AListThatIsThereIsNotFetched) {
  publishRelease({{"a.tx", "one"}});
  updateWell();
  std::filesystem::remove(dir_ / "copy/a.tx");
  server_.forgetRequests();
  Updater updater(options_, *this, &timing_);
  ASSERT_FALSE(updater.repair(result_));
  EXPECT_THAT(requests(), ElementsAre(kStamp, kA));
  expectCopyOf({{"a.tx", "one"}});
  EXPECT_EQ(kept(), list());
}

TEST_P(ListSourcesTest, AListThatARunHasFetchedIsNotFetchedByTheNextOne) {
  publishRelease({{"a.tx", "one"}});
  updateWell();
  publishRelease({{"a.tx", "two"}});
  server_.remove("/lib/a.tx");
  expectFailure(Kind::kNetwork);
  // Not for a second look at the same release, either.
  EXPECT_THAT(requests(), ElementsAre(kStamp, askedDifference(), kA, kStamp, kA));
  server_.serve("/lib/a.tx", "two");
  updateWell();
  EXPECT_THAT(requests(), ElementsAre(kStamp, kA));
  expectCopyOf({{"a.tx", "two"}});
  EXPECT_EQ(kept(), list());
}

TEST_P(ListSourcesTest, ARunGoesBackToTheListThatTheCopyHas) {
  const Files first{{"a.tx", "one"}};
  publishRelease(first);
  updateWell();
  publishRelease({{"a.tx", "two"}});
  server_.remove("/lib/a.tx");
  expectFailure(Kind::kNetwork);
  publishRelease(first);
  updateWell();
  EXPECT_THAT(requests(), ElementsAre(kStamp));
  expectCopyOf(first);
  updateWell();
  EXPECT_THAT(requests(), ElementsAre(kStamp));
  EXPECT_FALSE(std::filesystem::exists(dir_ / "copy/.mtllib/filelist.json.new"));
}

TEST_P(ListSourcesTest, ANewStampOfTheSameListIsOneRequest) {
  publishRelease({{"a.tx", "one"}});
  updateWell();
  publishRelease({{"a.tx", "one"}});
  updateWell();
  EXPECT_THAT(requests(), ElementsAre(kStamp));
  expectCopyOf({{"a.tx", "one"}});
}

TEST_P(ListSourcesTest, APlanAsksForNoMoreAndWritesNothing) {
  publishRelease({{"a.tx", "one"}});
  updateWell();
  publishRelease({{"a.tx", "two"}});
  Updater updater(options_, *this, &timing_);
  Preview preview;
  const Outcome failure = updater.plan(preview);
  ASSERT_FALSE(failure) << failure->text;
  EXPECT_THAT(requests(), ElementsAre(kStamp, askedDifference()));
  EXPECT_EQ(preview.plan.fetch.size(), 1U);
  EXPECT_EQ(kept(), lastList_);
  EXPECT_FALSE(std::filesystem::exists(dir_ / "copy/.mtllib/filelist.json.new"));
}

TEST_P(ListSourcesTest, AListOfAnotherReleaseIsNotTakenWhereReleasesAreSigned) {
  publishRelease({{"a.tx", "one"}}, false, false);
  const std::string old = signed_.stamp();
  publishRelease({{"a.tx", "two"}}, false, false);
  const std::string current = signed_.stamp();
  server_.serve("/lib/id.txt", old);
  onSecondLook_ = [&] { server_.serve("/lib/id.txt", current); };
  updateWell();
  if (GetParam()) {
    EXPECT_THAT(requests(), ElementsAre(kStamp, kList, kStamp, kList, kA));
    expectCopyOf({{"a.tx", "two"}});
    return;
  }
  // The stamp may be from a cache. The next update finds another one.
  EXPECT_THAT(requests(), ElementsAre(kStamp, kList, kA));
  EXPECT_EQ(copy(), with(old, {{"a.tx", "two"}}));
  server_.serve("/lib/id.txt", current);
  updateWell();
  EXPECT_THAT(requests(), ElementsAre(kStamp));
  expectCopyOf({{"a.tx", "two"}});
}

TEST_P(SignedListSourcesTest, AListThatStaysAnotherOneIsAFailure) {
  publishRelease({{"a.tx", "one"}}, false, false);
  const std::string old = signed_.stamp();
  publishRelease({{"a.tx", "two"}}, false, false);
  server_.serve("/lib/id.txt", old);
  expectFailure(Kind::kUntrusted);
  EXPECT_THAT(requests(), ElementsAre(kStamp, kList, kStamp, kList));
  EXPECT_THAT(copy(), IsEmpty());
}

TEST_P(ListSourcesTest, ALibraryThatChangesMeanwhileIsLookedAtOnceMore) {
  publishRelease({{"a.tx", "one"}});
  updateWell();
  publishRelease({{"a.tx", "two"}});
  const std::string first = signed_.stamp();
  publishRelease({{"a.tx", "three"}});
  const std::string current = signed_.stamp();
  server_.serve("/lib/id.txt", first);
  onSecondLook_ = [&] { server_.serve("/lib/id.txt", current); };
  updateWell();
  if (!GetParam()) {
    server_.serve("/lib/id.txt", current);
    updateWell();
  }
  expectCopyOf({{"a.tx", "three"}});
}

TEST_P(ListSourcesTest, AServerInTroubleIsAskedAgainAsEver) {
  publishRelease({{"a.tx", "one"}});
  updateWell();
  publishRelease({{"a.tx", "two"}});
  int asked = 0;
  const std::string packed = gzipped(differenceText(differenceBetween(lastList_, list())));
  server_.handle(differenceOf(lastStamp_), [&](const ServerRequest&, Socket& socket) {
    socket.send(++asked == 1 ? ScriptedServer::response(503, "")
                             : ScriptedServer::response(200, packed));
    return true;
  });
  updateWell();
  EXPECT_THAT(requests(), ElementsAre(kStamp, askedDifference(), askedDifference(), kA));
}

TEST_P(ListSourcesTest, AHostEndsARunThatMakesAList) {
  publishRelease({{"a.tx", "one"}});
  updateWell();
  publishRelease({{"a.tx", "two"}});
  server_.hold(differenceOf(lastStamp_));
  shouldContinue_ = [this] { return requests().size() < 2; };
  expectFailure(Kind::kCancelled);
  server_.release(differenceOf(lastStamp_));
  EXPECT_THAT(requests(), ElementsAre(kStamp, askedDifference()));
}

TEST_P(ListSourcesTest, ASubPathHasFormsOfItsOwn) {
  options_.subPath = "beta";
  signed_.release.subPath = "beta";
  publishRelease({});
  server_.serve("/lib/beta/id.txt", signed_.stamp());
  server_.serve("/beta/lib/filelist.json.gz", gzipped(list()));
  updateWell();
  EXPECT_THAT(requests(), ElementsAre("GET /lib/beta/id.txt", "GET /beta/lib/filelist.json.gz"));
  publishRelease({{"a.tx", "one"}});
  server_.serve("/lib/beta/id.txt", signed_.stamp());
  const std::string name = mtlrules::differenceName(sha256Of(lastStamp_));
  server_.serve("/beta/lib/" + name, gzipped(differenceText(differenceBetween(lastList_, list()))));
  updateWell();
  EXPECT_THAT(requests(), ElementsAre("GET /lib/beta/id.txt", "GET /beta/lib/" + name, kA));
}

}  // namespace
}  // namespace mtlupdate
