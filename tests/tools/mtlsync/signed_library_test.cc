// Tests the program with keys: what it takes, refuses and says.
#include "support/signed_library.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "support/child_process.h"
#include "support/regex_matchers.h"
#include "support/scripted_server.h"
#include "support/temp_dir.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class SignedLibraryProgram : public testing::Test {
 protected:
  SignedLibraryProgram() { oak_.publish({{"a.mtl", "a"}}); }

  ProcessResult run(std::vector<std::string> options = {}) const {
    options.insert(options.begin(), {MTLSYNC, "--no-proxy"});
    options.insert(options.end(), {oak_.address(), copy_});
    return runProcess(options);
  }
  ProcessResult runWithKey(std::vector<std::string> options = {}) const {
    options.insert(options.begin(), {"--retries", "0", "--key", oak_.publicKey()});
    return run(options);
  }
  ProcessResult status(std::vector<std::string> options = {}) const {
    options.insert(options.begin(), {MTLSYNC, "--status"});
    options.push_back(copy_);
    return runProcess(options, {{"TZ", "XYZ-2"}});
  }
  void runWell(const std::vector<std::string>& options = {}) const {
    const ProcessResult result = runWithKey(options);
    ASSERT_EQ(result.exitCode, 0) << result.err;
  }
  std::string copied(const std::string& path) const { return readFile(copy_ + "/" + path); }

  TempDir dir_;
  ScriptedServer server_;
  SignedLibrary oak_{server_, "/oak"};
  const std::string copy_ = dir_ / "copy";
};

TEST_F(SignedLibraryProgram, TakesAKeyOrItsFile) {
  const std::string file = dir_ / "oak.pub";
  std::ofstream(file, std::ios::binary) << mtlsigning::publicKeyFile(oak_.key.publicKey());
  ProcessResult result = run({"--key", file, "--name", "oak"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(copied("a.mtl"), "a");
  const std::string other = SignedLibrary(server_, "/elm").publicKey();
  result = run({"--key", other, "--key=" + oak_.publicKey()});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out, "Up to date.\n");
}

TEST_F(SignedLibraryProgram, NamesAKeyThatCannotBeUsed) {
  const auto expectUsage = [](const ProcessResult& result) {
    EXPECT_EQ(result.exitCode, 2);
    // The reason is the last line: there is nothing else to advise.
    EXPECT_THAT(result.err,
                MatchesPattern("mtlsync: error: \"RWQ\" is neither a public key nor a file "
                               "that can be read: [^\n]+\n"));
  };
  expectUsage(run({"--key", "RWQ"}));
  expectUsage(run({"--verify", "--key", "RWQ"}));
  expectUsage(status({"--key", "RWQ"}));
}

TEST_F(SignedLibraryProgram, RefusesWhatIsNotSignedAsContent) {
  runWell();
  oak_.publish({{"a.mtl", "A"}});
  oak_.serveStamp("7a1bc3d2");
  const ProcessResult result = runWithKey();
  EXPECT_EQ(result.exitCode, 5);
  EXPECT_THAT(result.err, HasSubstr("/oak/id.txt: it is not signed: somebody has replaced it, or "
                                    "the library's publisher does not sign it"));
  EXPECT_THAT(result.err, EndsWith("Nothing was changed. If this persists, ask the library's "
                                   "publisher, by some way other than its server.\n"));
  EXPECT_EQ(copied("a.mtl"), "a");
  EXPECT_EQ(runWithKey({"--check"}).exitCode, 5);
  EXPECT_EQ(runWithKey({"--dry-run"}).exitCode, 5);
  EXPECT_THAT(runWithKey({"--json"}).out, HasSubstr("\"failure\":\"untrusted\""));
}

TEST_F(SignedLibraryProgram, RefusesAnotherNameAndAnOlderRelease) {
  EXPECT_EQ(runWithKey({"--name", "elm"}).exitCode, 5);
  const std::string oldStamp = oak_.stamp();
  oak_.publish({{"a.mtl", "A"}});
  runWell();
  oak_.serveStamp(oldStamp);
  const ProcessResult result = runWithKey();
  EXPECT_EQ(result.exitCode, 5);
  EXPECT_THAT(result.err, HasSubstr("it is from an older release, serial 1700000000"));
  EXPECT_THAT(result.err, EndsWith("Nothing was changed. Try again later.\n"));
}

TEST_F(SignedLibraryProgram, TakesAnExpiredReleaseOnRequestAndWarns) {
  oak_.release.expires = SignedLibrary::kFirstTime + 5;
  oak_.publish({{"a.mtl", "A"}});
  ProcessResult result = runWithKey();
  EXPECT_EQ(result.exitCode, 5);
  EXPECT_THAT(result.err,
              EndsWith("Nothing was changed. Try again later, or allow expired releases.\n"));
  result = runWithKey({"--allow-expired"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_THAT(result.err, HasSubstr("warning: " + oak_.address() +
                                    "/id.txt: it expired at 2023-11-14T22:13:25Z"));
}

TEST_F(SignedLibraryProgram, ACopyThatHadKeysNeedsThemUntilTheyAreForgotten) {
  runWell();
  oak_.publish({{"a.mtl", "A"}});
  for (const std::vector<std::string>& options :
       {std::vector<std::string>{}, {"--check"}, {"--module", MTLSYNC_REAL_MODULE}}) {
    const ProcessResult result = run(options);
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_THAT(
        result.err,
        HasSubstr("This copy was updated with keys: without them, updates would not be checked"));
    EXPECT_THAT(
        result.err,
        EndsWith("Give the keys. If you forget them instead, updates are no longer checked.\n"));
    EXPECT_EQ(copied("a.mtl"), "a");
  }
  EXPECT_EQ(run({"--module", MTLSYNC_REAL_MODULE, "--forget-keys"}).exitCode, 0);
  EXPECT_EQ(copied("a.mtl"), "A");
  EXPECT_EQ(run().exitCode, 0);
}

TEST_F(SignedLibraryProgram, KeysAreNotForTheModule) {
  const ProcessResult result = runWithKey({"--module", MTLSYNC_REAL_MODULE});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_THAT(result.err, HasSubstr("--module and --key exclude each other"));
  EXPECT_THAT(run({"--name", "oak"}).err, HasSubstr("--name needs --key"));
  EXPECT_EQ(run({"--name", "oak"}).exitCode, 2);
  EXPECT_THAT(run({"--allow-expired"}).err, HasSubstr("--allow-expired needs --key"));
}

TEST_F(SignedLibraryProgram, VerifiesTheKeptListWithoutTheNetwork) {
  runWell();
  server_.forgetRequests();
  const auto verify = [&] {
    return runProcess({MTLSYNC, "--verify", "--key", oak_.publicKey(), copy_});
  };
  EXPECT_EQ(verify().exitCode, 0);
  std::ofstream(copy_ + "/.mtllib/filelist.json", std::ios::binary) << "[]\n";
  const ProcessResult result = verify();
  EXPECT_EQ(result.exitCode, 5);
  EXPECT_THAT(result.err, HasSubstr(".mtllib/filelist.json\": it is not the list that was signed"));
  EXPECT_THAT(server_.requests(), IsEmpty());
}

TEST_F(SignedLibraryProgram, ShowsWhoHasSignedTheCopy) {
  EXPECT_EQ(run().exitCode, 0);
  EXPECT_THAT(status().out, EndsWith("Signed: nobody checks by whom, without --key\n"));
  oak_.release.expires = SignedLibrary::kFirstTime + 3000000000;
  oak_.publish({{"a.mtl", "A"}});
  runWell();
  EXPECT_THAT(status().out, EndsWith("Signed: not checked without --key, which updates need\n"));
  EXPECT_EQ(status().exitCode, 0);
  const std::string id = mtlsigning::idText(oak_.key.publicKey().id);
  EXPECT_THAT(status({"--key", oak_.publicKey()}).out,
              EndsWith("Signed: by key " + id +
                       "\n"
                       "Release: oak, serial 1700000001, published 2023-11-15 00:13:21, expires "
                       "2118-12-09 05:33:20\n"));
  EXPECT_THAT(status({"--json", "--key", oak_.publicKey()}).out,
              HasSubstr("\"signature\":{\"expires\":\"2118-12-09T03:33:20Z\",\"keyId\":\"" + id +
                        "\",\"kind\":\"good\",\"library\":\"oak\",\"needsKeys\":true,"
                        "\"problem\":\"\",\"published\":\"2023-11-14T22:13:21Z\","
                        "\"serial\":1700000001}"));
  const ProcessResult other = status({"--key", SignedLibrary(server_, "/elm").publicKey()});
  EXPECT_EQ(other.exitCode, 5);
  EXPECT_THAT(other.out, HasSubstr("Signed: not as it should be: it was signed with key " + id));
}

TEST_F(SignedLibraryProgram, NamesTheKeysInCommandsThatItProposes) {
  runWell();
  std::ofstream(copy_ + "/a.mtl", std::ios::binary) << "x";
  const ProcessResult result = runWithKey({"--verify", "--name", "oak"});
  EXPECT_EQ(result.exitCode, 7) << result.err;
  EXPECT_THAT(result.err, HasSubstr("--key " + oak_.publicKey() + " --name oak " + oak_.address()));
}

}  // namespace
