// Tests keys in a host's settings, and what becomes of a copy that needs them.
#include "mtlhost/trust.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <optional>
#include <string>

#include "mtlhost/library.h"
#include "recording_observer.h"
#include "support/scripted_server.h"
#include "support/signed_library.h"
#include "support/temp_dir.h"

namespace mtlhost {
namespace {

using Failure = Result::Failure;
using Kind = CopySignature::Kind;
using Status = Result::Status;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

class HostTrust : public testing::Test {
 protected:
  HostTrust() {
    settings_.remoteAddress = oak_.address();
    settings_.targetDirectory = directory_ / "copy";
    settings_.proxyMode = PROXY_MODE_DISABLED;
    settings_.update.tries = 1;
    settings_.trust.keys = {oak_.publicKey()};
    oak_.publish({{"a.mtl", "a"}});
  }

  std::string problem() {
    Errors problem;
    EXPECT_FALSE(Library::open(settings_, observer_, problem));
    return chainText(problem);
  }
  Result run() {
    Errors problem;
    auto library = Library::open(settings_, observer_, problem);
    EXPECT_TRUE(library) << chainText(problem);
    return library ? library->run() : Result();
  }
  void runWell() {
    const Result result = run();
    ASSERT_EQ(result.status, Status::kDone) << chainText(result.errors);
  }
  CopySignature signature() {
    Errors problem;
    auto signature =
        copySignature(settings_.targetDirectory, settings_.subPath, settings_.trust, problem);
    EXPECT_TRUE(signature) << chainText(problem);
    return signature.value_or(CopySignature());
  }
  std::string copied(const std::string& path) const {
    return readFile(directory_ / "copy/" + path);
  }

  TempDir directory_;
  ScriptedServer server_;
  SignedLibrary oak_{server_, "/oak"};
  RecordingObserver observer_;
  Settings settings_;
};

TEST_F(HostTrust, AKeyIsTextOrAFile) {
  const std::string file = mtlsigning::publicKeyFile(oak_.key.publicKey());
  std::ofstream(directory_ / "oak.pub", std::ios::binary) << file;
  for (const std::string& key : {oak_.publicKey(), file, directory_ / "oak.pub"}) {
    settings_.trust.keys = {key};
    runWell();
  }
}

TEST_F(HostTrust, AKeyThatIsNoneIsRefused) {
  settings_.trust.keys = {oak_.publicKey(), ""};
  EXPECT_THAT(problem(), HasSubstr("\"\" is neither a public key nor a file that can be read"));
  settings_.trust.keys = {directory_ / "gone.pub"};
  EXPECT_THAT(problem(), HasSubstr("gone.pub\" is neither a public key nor a file"));
  std::ofstream(directory_ / "long.pub", std::ios::binary)
      << std::string(100000, 'x') << oak_.publicKey();
  settings_.trust.keys = {directory_ / "long.pub"};
  EXPECT_THAT(problem(), HasSubstr("long.pub\" has no public key of minisign's format"));
}

TEST_F(HostTrust, ANameWithoutKeysIsRefused) {
  settings_.trust.keys.clear();
  settings_.trust.libraryName = "oak";
  EXPECT_THAT(problem(), HasSubstr("A library's name is checked with keys only"));
}

TEST_F(HostTrust, WhatIsNotSignedIsAFailureOfItsOwn) {
  runWell();
  oak_.publish({{"a.mtl", "A"}});
  oak_.serveStamp("7a1bc3d2");
  const Result result = run();
  EXPECT_EQ(result.status, Status::kFailed);
  EXPECT_EQ(result.failure, Failure::kUntrusted);
  EXPECT_THAT(chainText(result.errors), HasSubstr("/oak/id.txt: it is not signed"));
  EXPECT_EQ(copied("a.mtl"), "a");
}

TEST_F(HostTrust, AWarningReachesTheObserver) {
  oak_.release.expires = SignedLibrary::kFirstTime + 1;
  oak_.publish({{"a.mtl", "A"}});
  EXPECT_EQ(run().failure, Failure::kUntrusted);
  settings_.trust.allowsExpired = true;
  runWell();
  EXPECT_THAT(observer_.lines, Contains(HasSubstr("it expired at 2023-11-14T22:13:21Z")));
}

TEST_F(HostTrust, TheModuleTakesNoKeys) {
  settings_.moduleFile = MTLLIB_MODULE;
  EXPECT_THAT(problem(), HasSubstr("the module cannot check signatures"));
  settings_.trust.keys.clear();
  runWell();
  EXPECT_EQ(copied("id.txt"), oak_.stamp());
}

TEST_F(HostTrust, TheModuleLeavesACopyAloneThatNeedsKeys) {
  runWell();
  settings_.moduleFile = MTLLIB_MODULE;
  settings_.trust.keys.clear();
  server_.forgetRequests();
  Errors problem;
  auto library = Library::open(settings_, observer_, problem);
  ASSERT_TRUE(library);
  for (const Result& result : {library->check(), library->run()}) {
    EXPECT_EQ(result.status, Status::kFailed);
    EXPECT_EQ(result.failure, Failure::kUsage);
    EXPECT_THAT(chainText(result.errors), HasSubstr("this copy was updated with keys"));
  }
  EXPECT_THAT(server_.requests(), IsEmpty());
  oak_.publish({{"a.mtl", "A"}});
  settings_.trust.forgetsKeys = true;
  runWell();
  EXPECT_EQ(copied("a.mtl"), "A");
  settings_.trust.forgetsKeys = false;
  runWell();
}

TEST_F(HostTrust, ACopyShowsWhoHasSignedIt) {
  EXPECT_EQ(signature().kind, Kind::kNone);
  oak_.release.expires = SignedLibrary::kFirstTime + 3000000000;
  oak_.publish({{"a.mtl", "a"}});
  runWell();
  const CopySignature good = signature();
  EXPECT_EQ(good.kind, Kind::kGood) << good.problem;
  EXPECT_TRUE(good.needsKeys);
  EXPECT_EQ(good.libraryName, "oak");
  EXPECT_EQ(good.serial, oak_.release.serial);
  EXPECT_EQ(good.published, oak_.release.published);
  EXPECT_EQ(good.expires, oak_.release.expires);
  EXPECT_EQ(good.keyId, mtlsigning::idText(oak_.key.publicKey().id));
  settings_.trust.keys = {SignedLibrary(server_, "/elm").publicKey()};
  const CopySignature bad = signature();
  EXPECT_EQ(bad.kind, Kind::kBad);
  EXPECT_THAT(bad.problem, HasSubstr("was signed with key"));
  settings_.trust.keys.clear();
  const CopySignature unchecked = signature();
  EXPECT_EQ(unchecked.kind, Kind::kUnchecked);
  EXPECT_TRUE(unchecked.needsKeys);
  settings_.trust.forgetsKeys = true;
  oak_.serveStamp("7a1bc3d2");
  runWell();
  EXPECT_EQ(signature().kind, Kind::kNone);
  EXPECT_FALSE(signature().needsKeys);
  settings_.trust.keys = {""};
  Errors problem;
  EXPECT_FALSE(copySignature(settings_.targetDirectory, "", settings_.trust, problem));
  EXPECT_FALSE(problem.empty());
}

}  // namespace
}  // namespace mtlhost
