// Tests that with keys, nothing takes effect that was not signed, nor anything older than what was
// there: whoever answers in the server's place, the copy stays byte for byte what it was.
#include "update/trust.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/signed_library.h"
#include "update/own_files.h"
#include "updater_fixture.h"

namespace mtlupdate {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
namespace fs = std::filesystem;

class TrustTest : public UpdaterFixture {
 protected:
  TrustTest() {
    options_.session.address = oak_.address();
    pin({oak_.publicKey()});
  }

  void pin(const std::vector<std::string>& keys) {
    options_.trust.keys.clear();
    for (const std::string& key : keys)
      options_.trust.keys.push_back(mtlsigning::publicKeyFrom(key).value());
  }

  /// Everything in the folder but the lock, which every run leaves.
  Files everything() const {
    Files files;
    if (!fs::exists(options_.folder)) return files;
    for (const auto& entry : fs::recursive_directory_iterator(options_.folder)) {
      const std::string path = entry.path().lexically_relative(options_.folder).generic_string();
      if (!entry.is_regular_file() || path == kLockFile) continue;
      std::ifstream file(entry.path(), std::ios::binary);
      files[path] = {std::istreambuf_iterator<char>(file), {}};
    }
    return files;
  }

  /// An update fails with these words, and so do a check and a plan that see the same. The copy
  /// stays what it was.
  void expectRefused(const std::string& text) {
    const Files before = everything();
    expectFailure(Kind::kUntrusted);
    EXPECT_THAT(failure_.text, HasSubstr(text));
    EXPECT_EQ(everything(), before);
    Preview preview;
    const Outcome failure = Updater(options_, *this, &timing_).plan(preview);
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->kind, Kind::kUntrusted);
    EXPECT_THAT(failure->text, HasSubstr(text));
    EXPECT_EQ(everything(), before);
  }
  /// The same where the stamp alone shows it.
  void expectStampRefused(const std::string& text) {
    expectRefused(text);
    EXPECT_EQ(failure_.about, oak_.address() + "/id.txt");
    CheckResult check;
    const Outcome failure = Updater(options_, *this, &timing_).check(check);
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->kind, Kind::kUntrusted);
    EXPECT_THAT(failure->text, HasSubstr(text));
  }

  Outcome verify() {
    VerifyResult result;
    return Updater(options_, *this, &timing_).verify(result);
  }

  /// A release that the copy has, and the next one, which the server has.
  void publishTwice() {
    oak_.publish({{"a.mtl", "a"}, {"b.mtl", "b"}});
    updateWell();
    oldStamp_ = oak_.stamp();
    oldList_ = oak_.list();
    oak_.publish({{"a.mtl", "A"}, {"c.mtl", "c"}});
  }

  SignedLibrary oak_{server_, "/oak"};
  std::string oldStamp_;
  std::string oldList_;
};

TEST_F(TrustTest, TakesWhatTheHolderOfAKeySigned) {
  publishTwice();
  updateWell();
  EXPECT_EQ(copy(), with(oak_.stamp(), {{"a.mtl", "A"}, {"c.mtl", "c"}, {"b.mtl", "b"}}));
  EXPECT_THAT(warnings_, IsEmpty());
  EXPECT_EQ(secondLooks_, 0);
}

TEST_F(TrustTest, AnyOfTheKeysMayHaveSigned) {
  pin({SignedLibrary(server_, "/elm").publicKey(), oak_.publicKey()});
  oak_.publish({{"a", "a"}});
  updateWell();
}

TEST_F(TrustTest, ACheckCostsOneRequest) {
  oak_.publish({{"a", "a"}});
  updateWell();
  EXPECT_THAT(requests(), SizeIs(3));
  updateWell();
  EXPECT_THAT(requests(), ElementsAre("GET /oak/id.txt"));
  CheckResult check;
  ASSERT_FALSE(Updater(options_, *this, &timing_).check(check));
  EXPECT_TRUE(check.isCurrent);
  EXPECT_EQ(check.stamp, oak_.stamp());
}

TEST_F(TrustTest, RefusesALibraryThatIsNotSigned) {
  publishTwice();
  oak_.serveStamp("7a1bc3d2");
  expectStampRefused(
      "it is not signed: somebody has replaced it, or the library's publisher does not sign it");
  oak_.serveStamp("");
  expectStampRefused("it is not signed");
}

TEST_F(TrustTest, RefusesASignatureThatIsCut) {
  publishTwice();
  const std::string stamp = oak_.stamp();
  for (const std::size_t size : {stamp.size() - 1, stamp.size() / 2, std::size_t{30}}) {
    oak_.serveStamp(stamp.substr(0, size));
    expectStampRefused("it is not a whole signature");
  }
}

TEST_F(TrustTest, RefusesWhatAnotherKeySigned) {
  publishTwice();
  const std::string id = mtlsigning::idText(oak_.key.publicKey().id);
  pin({SignedLibrary(server_, "/elm").publicKey()});
  expectStampRefused("it was signed with key " + id + ", which is not one of those given");
}

TEST_F(TrustTest, RefusesAKeyThatOnlySaysItIsTheRightOne) {
  publishTwice();
  mtlsigning::PublicKey key = SignedLibrary(server_, "/elm").key.publicKey();
  key.id = oak_.key.publicKey().id;
  options_.trust.keys = {key};
  expectStampRefused("it has a wrong signature");
}

TEST_F(TrustTest, RefusesAChangedComment) {
  publishTwice();
  std::string stamp = oak_.stamp();
  const std::string serial = std::to_string(oak_.release.serial);
  stamp.replace(stamp.find(serial), serial.size(), "1999999999");
  oak_.serveStamp(stamp);
  expectStampRefused("it has a wrong signature");
}

TEST_F(TrustTest, RefusesACommentThatDoesNotDescribeARelease) {
  publishTwice();
  oak_.serveStamp(mtlsigning::signatureFile(oak_.key.sign(oak_.list(), "timestamp:1700000000")));
  expectStampRefused("it has a comment that does not describe a release of a library");
}

TEST_F(TrustTest, RefusesAStampOfWhichAnyByteIsChanged) {
  publishTwice();
  const std::string stamp = oak_.stamp();
  const Files before = everything();
  Trust trust(options_.trust, "");
  std::string warning;
  ASSERT_FALSE(trust.check(stamp, SignedLibrary::kFirstTime, warning));
  for (std::size_t i = 0; i < stamp.size(); ++i) {
    for (const int change : {1, 0x20, 0x80}) {
      std::string changed = stamp;
      changed[i] = static_cast<char>(changed[i] ^ change);
      EXPECT_TRUE(trust.check(changed, SignedLibrary::kFirstTime, warning)) << i;
    }
  }
  // Some of them in whole updates, which take their time.
  for (std::size_t i = 0; i < stamp.size(); i += 20) {
    std::string changed = stamp;
    changed[i] = static_cast<char>(changed[i] ^ 1);
    oak_.serveStamp(changed);
    expectFailure(Kind::kUntrusted);
  }
  EXPECT_EQ(everything(), before);
}

TEST_F(TrustTest, RefusesAStampOfAnotherLibrary) {
  publishTwice();
  oak_.release.library = "elm";
  oak_.publish({{"a.mtl", "elm"}});
  expectStampRefused("it is the stamp of \"elm\", not of \"oak\"");
}

TEST_F(TrustTest, TheNameMayBeGivenFromTheFirstUpdateOn) {
  options_.trust.library = "oak";
  oak_.release.library = "elm";
  oak_.publish({{"a.mtl", "elm"}});
  expectStampRefused("it is the stamp of \"elm\", not of \"oak\"");
  oak_.release.library = "oak";
  oak_.publish({{"a.mtl", "oak"}});
  updateWell();
}

TEST_F(TrustTest, ACopyOfOneLibraryDoesNotBecomeThatOfAnother) {
  publishTwice();
  options_.trust.library = "elm";
  expectFailure(Kind::kUsage);
  EXPECT_EQ(failure_.text, "this is a copy of the library \"oak\", not of \"elm\"");
  EXPECT_THAT(requests(), IsEmpty());
}

TEST_F(TrustTest, RefusesAStampOfAnotherSubPath) {
  publishTwice();
  oak_.release.subPath = "beta";
  oak_.publish({{"a.mtl", "beta"}});
  expectStampRefused("it is the stamp of \"oak\", sub-path \"beta\", not of \"oak\"");
}

TEST_F(TrustTest, EachSubPathHasSerialsOfItsOwn) {
  publishTwice();
  updateWell();
  const std::string stamp = oak_.stamp();
  const std::string list = oak_.list();
  oak_.release.subPath = "beta";
  oak_.release.serial = 1;
  oak_.publish({{"beta/b.mtl", "b"}});
  server_.serve("/oak/beta/id.txt", oak_.stamp());
  server_.serve("/beta/oak/filelist.json", oak_.list());
  options_.subPath = "beta";
  updateWell();
  EXPECT_EQ(everything().at(kTrustedFile), oak_.stamp() + stamp);
  options_.subPath = "";
  oak_.serveStamp(oldStamp_);
  oak_.serveList(oldList_);
  expectStampRefused("it is from an older release");
  oak_.serveStamp(stamp);
  oak_.serveList(list);
  updateWell();
  EXPECT_THAT(requests(), SizeIs(1)) << "both are remembered";
}

TEST_F(TrustTest, RefusesAnOldStampWithItsOldList) {
  publishTwice();
  updateWell();
  oak_.serveStamp(oldStamp_);
  oak_.serveList(oldList_);
  expectStampRefused(
      "it is from an older release, serial 1700000000 of 2023-11-14T22:13:20Z, than the one this "
      "copy has had, serial 1700000001");
}

TEST_F(TrustTest, RefusesAnOldStampWithTheNewList) {
  publishTwice();
  oak_.serveStamp(oldStamp_);
  fs::remove(fs::path(options_.folder) / kTrustedFile);
  fs::remove(fs::path(options_.folder) / "id.txt");
  expectRefused("it is not the list that was signed");
  EXPECT_EQ(failure_.about, oak_.address() + "/filelist.json");
}

TEST_F(TrustTest, RefusesAnArbitraryList) {
  publishTwice();
  std::string list = oak_.list();
  list[list.find("c.mtl")] = 'd';
  oak_.serveList(list);
  expectRefused("it is not the list that was signed");
  oak_.serveList("[]\n");
  expectRefused("it is not the list that was signed");
  oak_.serveList("<html>Please log in.</html>\n");
  expectRefused("it is not the list that was signed");
}

TEST_F(TrustTest, RefusesAListWithAnAddedFile) {
  publishTwice();
  std::string list = oak_.list();
  list.insert(list.size() - 2, ",{\"path\":\"evil.mtl\",\"size\":1}");
  oak_.serveList(list);
  expectRefused("it is longer than the list that was signed");
}

TEST_F(TrustTest, RefusesAListWithARemovedFile) {
  publishTwice();
  const std::string list = oak_.list();
  oak_.serveList("[" + list.substr(list.find(",{") + 1));
  expectRefused("it is not the list that was signed");
}

TEST_F(TrustTest, ReadsNoMoreOfAListThanWasSigned) {
  publishTwice();
  server_.handle("/oak/filelist.json", [](const ServerRequest&, Socket& socket) {
    if (!socket.send("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n")) return false;
    while (socket.send("8\r\n        \r\n")) {
    }
    return false;
  });
  expectRefused("it is longer than the list that was signed");
}

TEST_F(TrustTest, RefusesArbitraryFiles) {
  publishTwice();
  server_.serve("/oak/c.mtl", "X");
  const Files before = copy();
  expectFailure(Kind::kContent);
  EXPECT_EQ(failure_.about, oak_.address() + "/c.mtl");
  EXPECT_EQ(copy(), before);
}

TEST_F(TrustTest, RefusesOldFilesWithANewStamp) {
  publishTwice();
  server_.serve("/oak/a.mtl", "a");
  const Files before = copy();
  expectFailure(Kind::kContent);
  EXPECT_EQ(copy(), before);
}

TEST_F(TrustTest, RefusesAStampWithoutEnd) {
  publishTwice();
  server_.handle("/oak/id.txt", [](const ServerRequest&, Socket& socket) {
    if (!socket.send("HTTP/1.1 200 OK\r\n\r\nuntrusted comment: ")) return false;
    while (socket.send(std::string(4096, 'x'))) {
    }
    return false;
  });
  expectStampRefused("it is longer than a signature may be, 64 KiB");
}

TEST_F(TrustTest, RefusesAReleaseThatHasExpired) {
  oak_.publish({{"a.mtl", "a"}});
  updateWell();
  oak_.release.expires = SignedLibrary::kFirstTime + 100;
  oak_.publish({{"a.mtl", "A"}});
  timing_.clock = SignedLibrary::kFirstTime + 100;
  expectStampRefused("it expired at 2023-11-14T22:15:00Z");
  timing_.clock = SignedLibrary::kFirstTime + 99;
  updateWell();
  // The one that the copy has, too.
  timing_.clock = SignedLibrary::kFirstTime + 100;
  expectStampRefused("it expired at 2023-11-14T22:15:00Z");
}

TEST_F(TrustTest, AReleaseThatHasExpiredMayBeTakenWithAWarning) {
  oak_.release.expires = SignedLibrary::kFirstTime + 100;
  oak_.publish({{"a.mtl", "a"}});
  options_.trust.allowsExpired = true;
  updateWell();
  EXPECT_THAT(warnings_, ElementsAre(HasSubstr("it expired at 2023-11-14T22:15:00Z")));
}

TEST_F(TrustTest, AClockBeforeTheTimeOfPublicationIsToldAsWhatItIs) {
  oak_.publish({{"a.mtl", "a"}});
  timing_.clock = SignedLibrary::kFirstTime - 86400;
  updateWell();
  EXPECT_THAT(warnings_, ElementsAre(HasSubstr(
                             "this computer's clock is wrong: it says 2023-11-13T22:13:20Z, and "
                             "the library was published at 2023-11-14T22:13:20Z")));
  // A few minutes are nothing to talk about.
  Trust trust(options_.trust, "");
  std::string warning;
  EXPECT_FALSE(trust.check(oak_.stamp(), SignedLibrary::kFirstTime - 600, warning));
  EXPECT_EQ(warning, "");
  EXPECT_FALSE(trust.check(oak_.stamp(), SignedLibrary::kFirstTime - 601, warning));
  EXPECT_NE(warning, "");
  EXPECT_FALSE(trust.check(oak_.stamp(), -5, warning));
  EXPECT_THAT(warning, HasSubstr("it says 1970-01-01T00:00:00Z"));
}

TEST_F(TrustTest, AClockThatIsWrongDoesNotHideThatAReleaseHasExpired) {
  oak_.release.expires = SignedLibrary::kFirstTime + 100;
  oak_.publish({{"a.mtl", "a"}});
  timing_.clock = SignedLibrary::kFirstTime - 86400;
  expectStampRefused("whether it has expired is not known");
  options_.trust.allowsExpired = true;
  updateWell();
}

TEST_F(TrustTest, RefusesTheSameSerialWithOtherContent) {
  publishTwice();
  updateWell();
  --oak_.release.serial;
  oak_.publish({{"a.mtl", "other"}});
  expectStampRefused("it is from the same release, serial 1700000001");
}

TEST_F(TrustTest, RefusesAListWithoutDigestsEvenIfItIsSigned) {
  publishTwice();
  oak_.publish({{"a.mtl", "x"}}, false);
  expectRefused("\"a.mtl\" has no digest");
}

TEST_F(TrustTest, RefusesAListWithoutSizesEvenIfItIsSigned) {
  publishTwice();
  std::string list = oak_.list();
  list.replace(list.find("\"size\":1"), 8, "\"sice\":1");
  oak_.serveList(list);
  ++oak_.release.serial;
  oak_.serveStamp(oak_.signedStamp(list));
  expectRefused("\"a.mtl\" has no size");
}

TEST_F(TrustTest, RefusesAListOfAnotherSizeThanTheCommentSays) {
  publishTwice();
  mtlsigning::Release release = oak_.release;
  for (const int more : {1, -1}) {
    release.list.size = oak_.list().size() + static_cast<std::uint64_t>(more);
    oak_.serveStamp(
        mtlsigning::signatureFile(oak_.key.sign(oak_.list(), mtlsigning::commentText(release))));
    expectRefused(" the list that was signed");
  }
}

TEST_F(TrustTest, AStaleCacheDoesNotCountAsAnAttack) {
  publishTwice();
  const std::string list = oak_.list();
  server_.handle("/oak/filelist.json",
                 [list, old = oldList_](const ServerRequest& request, Socket& socket) {
                   const bool isCached = request.header("Cache-Control").empty();
                   return socket.send(ScriptedServer::response(200, isCached ? old : list));
                 });
  updateWell();
  EXPECT_EQ(secondLooks_, 1);
  EXPECT_EQ(copy().at("a.mtl"), "A");
}

TEST_F(TrustTest, AStaleCacheOfTheStampDoesNotCountAsAnAttackEither) {
  publishTwice();
  updateWell();
  const std::string stamp = oak_.stamp();
  server_.handle("/oak/id.txt",
                 [stamp, old = oldStamp_](const ServerRequest& request, Socket& socket) {
                   const bool isCached = request.header("Cache-Control").empty();
                   return socket.send(ScriptedServer::response(200, isCached ? old : stamp));
                 });
  updateWell();
  CheckResult check;
  ASSERT_FALSE(Updater(options_, *this, &timing_).check(check));
  EXPECT_TRUE(check.isCurrent);
}

TEST_F(TrustTest, ACopyThatWasUpdatedWithKeysIsNotUpdatedWithout) {
  publishTwice();
  pin({});
  const Files before = everything();
  expectFailure(Kind::kUsage);
  EXPECT_EQ(failure_.text,
            "this copy was updated with keys: without them, updates would not be checked");
  EXPECT_THAT(requests(), IsEmpty());
  EXPECT_EQ(everything(), before);
  CheckResult check;
  ASSERT_TRUE(Updater(options_, *this, &timing_).check(check));
  Preview preview;
  ASSERT_TRUE(Updater(options_, *this, &timing_).plan(preview));
}

TEST_F(TrustTest, KeysAreForgottenOnRequest) {
  publishTwice();
  pin({});
  options_.trust.forgets = true;
  updateWell();
  options_.trust.forgets = false;
  oak_.publish({{"a.mtl", "unsigned"}});
  oak_.serveStamp("x");
  updateWell();
  EXPECT_EQ(copy().at("a.mtl"), "unsigned");
}

TEST_F(TrustTest, WithOtherKeysTheOldOnesAreForgottenOnceTheNewOnesHaveSigned) {
  publishTwice();
  updateWell();
  SignedLibrary other(server_, "/oak");
  other.publish({{"a.mtl", "other"}});
  pin({other.publicKey()});
  options_.trust.forgets = true;
  server_.serve("/oak/a.mtl", "X");
  expectFailure(Kind::kContent);
  options_.trust.forgets = false;
  pin({});
  expectFailure(Kind::kUsage);
  server_.serve("/oak/a.mtl", "other");
  pin({other.publicKey()});
  options_.trust.forgets = true;
  updateWell();
  EXPECT_EQ(copy().at("a.mtl"), "other");
  options_.trust.forgets = false;
  updateWell();
}

TEST_F(TrustTest, ASerialCountsAlsoWhenItsKeyIsGivenUp) {
  publishTwice();
  updateWell();
  SignedLibrary next(server_, "/oak");
  next.release.serial = 5;
  next.publish({{"a.mtl", "old"}});
  pin({next.publicKey()});
  expectStampRefused("it is from an older release");
  next.release.serial = oak_.release.serial;
  next.publish({{"a.mtl", "new"}});
  updateWell();
}

TEST_F(TrustTest, ALostRecordIsMadeAnewFromTheCopysOwnStamp) {
  publishTwice();
  updateWell();
  const fs::path record = fs::path(options_.folder) / kTrustedFile;
  fs::remove(record);
  const std::string stamp = oak_.stamp();
  const std::string list = oak_.list();
  oak_.serveStamp(oldStamp_);
  oak_.serveList(oldList_);
  expectStampRefused("it is from an older release");
  oak_.serveStamp(stamp);
  oak_.serveList(list);
  updateWell();
  EXPECT_FALSE(result_.isChanged);
  EXPECT_TRUE(fs::exists(record));
}

TEST_F(TrustTest, ADamagedRecordDoesNotCount) {
  publishTwice();
  updateWell();
  std::string record = everything().at(kTrustedFile);
  record[record.find("serial: 1") + 8] = '9';
  write(kTrustedFile, record);
  updateWell();
  EXPECT_EQ(everything().at(kTrustedFile), oak_.stamp());
  write(kTrustedFile, "a\nb\nc\nd\ne");
  updateWell();
  EXPECT_EQ(everything().at(kTrustedFile), oak_.stamp());
  pin({});
  write(kTrustedFile, "");
  expectFailure(Kind::kUsage);
}

TEST_F(TrustTest, AStampThatSomebodyElsePutThereDoesNotCount) {
  publishTwice();
  write("id.txt", oak_.stamp());
  CheckResult check;
  ASSERT_FALSE(Updater(options_, *this, &timing_).check(check));
  EXPECT_FALSE(check.isCurrent);
  updateWell();
  EXPECT_EQ(copy().at("a.mtl"), "A");
}

TEST_F(TrustTest, ARecordIsWrittenBeforeTheFirstFileIsPlaced) {
  publishTwice();
  // A folder that somebody needs keeps the new file from its place.
  write("c.mtl/mine", "x");
  expectFailure(Kind::kDisk);
  EXPECT_EQ(everything().at("a.mtl"), "A");
  oak_.serveStamp(oldStamp_);
  oak_.serveList(oldList_);
  expectStampRefused("it is from an older release");
}

TEST_F(TrustTest, FilesThatCameWithoutKeysAreComparedWithTheSignedList) {
  oak_.publish({{"a.mtl", "a"}});
  const std::string list = oak_.list();
  pin({});
  server_.serve("/oak/filelist.json", "[{\"path\":\"a.mtl\"}]\n");
  server_.serve("/oak/a.mtl", "evil");
  updateWell();
  EXPECT_EQ(copy(), with(oak_.stamp(), {{"a.mtl", "evil"}}));
  server_.serve("/oak/filelist.json", list);
  server_.serve("/oak/a.mtl", "a");
  pin({oak_.publicKey()});
  CheckResult check;
  ASSERT_FALSE(Updater(options_, *this, &timing_).check(check));
  EXPECT_FALSE(check.isCurrent);
  updateWell();
  EXPECT_EQ(copy(), with(oak_.stamp(), {{"a.mtl", "a"}}));
}

TEST_F(TrustTest, VerifyComparesTheKeptListWithTheKeptStamp) {
  publishTwice();
  updateWell();
  server_.forgetRequests();
  EXPECT_FALSE(verify());
  const std::string list = everything().at(kListFile);
  write(kListFile, "[]\n");
  Outcome failure = verify();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Kind::kUntrusted);
  EXPECT_EQ(failure->about, kListFile);
  EXPECT_THAT(failure->text, HasSubstr("it is not the list that was signed"));
  write(kListFile, list);
  write("id.txt", "7a1bc3d2");
  failure = verify();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Kind::kUntrusted);
  EXPECT_EQ(failure->about, "id.txt");
  EXPECT_THAT(requests(), IsEmpty());
}

TEST_F(TrustTest, VerifyTakesTheListOfAnUpdateThatWasCutBehindIt) {
  publishTwice();
  write("c.mtl/mine", "x");
  expectFailure(Kind::kDisk);
  EXPECT_EQ(everything().at("id.txt"), oldStamp_);
  EXPECT_EQ(everything().at(kListFile), oak_.list());
  EXPECT_FALSE(verify());
}

TEST_F(TrustTest, VerifyChecksTheListThatItFetches) {
  oak_.publish({{"a.mtl", "a"}});
  write("a.mtl", "a");
  EXPECT_FALSE(verify());
  oak_.serveList("[]\n");
  const Outcome failure = verify();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Kind::kUntrusted);
}

TEST_F(TrustTest, ASignedLibraryIsUpdatedWithoutKeysAsAnyOther) {
  pin({});
  publishTwice();
  updateWell();
  EXPECT_FALSE(fs::exists(fs::path(options_.folder) / kTrustedFile));
}

}  // namespace
}  // namespace mtlupdate
