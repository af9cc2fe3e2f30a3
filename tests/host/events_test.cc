// Tests which events an observer gets, in which order, and what becomes of its exceptions.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>

#include "mtlhost/library.h"
#include "recording_observer.h"
#include "support/temp_dir.h"

namespace mtlhost {
namespace {

using Lines = std::vector<std::string>;
using Status = Result::Status;

class EventsTest : public testing::Test {
 protected:
  Library library(const std::string& situation) {
    Settings settings;
    settings.moduleFile = FAKE_MODULE;
    settings.remoteAddress = situation;
    settings.targetDirectory = directory_ / "copy";
    Errors problem;
    return Library::open(settings, observer_, problem).value();
  }

  TempDir directory_;
  RecordingObserver observer_;
};

const std::string kFailure =
    "error: [DownloaderImpl::readRemoteIdFile] -1: Could not download remote stamp file | "
    "[HttpGetter::responseProgressCb] -1: No stream to write to";
const Lines kEverything{"info: Remote address: \"http://fake\"",
                        "stage: Creating download directory",
                        "survived: [A::b] 5: Ivalid http proxy address \"?\".",
                        "warning: Incorrect size of json file list (0 bytes)",
                        "text: Downloading files (0MB / 20MB)",
                        "progress: Downloading files -1 0/20",
                        "range: 1000",
                        "value: 0",
                        "progress: Downloading files 0 0/20",
                        "begins",
                        "go on",
                        "progress: Downloading files 0 3/20",
                        "ends",
                        kFailure};

TEST_F(EventsTest, ComeInOrder) {
  const Result result = library("everything").run();
  EXPECT_EQ(observer_.lines, kEverything);
  EXPECT_EQ(result.status, Status::kFailed);
  EXPECT_EQ(result.code, -1);
  EXPECT_EQ("error: " + chainText(result.errors), kFailure);
}

TEST_F(EventsTest, ComeAgainTheSameInTheNextRun) {
  Library again = library("everything");
  again.run();
  observer_.lines.clear();
  again.run();
  EXPECT_EQ(observer_.lines, kEverything);
}

TEST_F(EventsTest, AreNothingToAnObserverThatDoesNotCare) {
  Observer silent;
  Settings settings;
  settings.moduleFile = FAKE_MODULE;
  settings.remoteAddress = "everything";
  Errors problem;
  EXPECT_EQ(Library::open(settings, silent, problem).value().run().status, Status::kFailed);
}

TEST_F(EventsTest, HoldMessagesOfAnyLength) {
  EXPECT_EQ(library("long").run().status, Status::kDone);
  EXPECT_EQ(observer_.lines, Lines{"info: <" + std::string(100000, 'x') + ">"});
}

TEST_F(EventsTest, ComeOneAtATime) {
  bool inside = false;
  observer_.onLine = [&](const std::string&) {
    EXPECT_FALSE(inside);
    inside = true;
    inside = false;
  };
  EXPECT_EQ(library("chatter").run().status, Status::kDone);
  EXPECT_EQ(observer_.lines.size(), 3000U);
}

TEST_F(EventsTest, CountTheBytesOfAllRequests) {
  Transfer last;
  observer_.answer = [&](const Transfer& transfer) {
    last = transfer;
    return true;
  };
  EXPECT_EQ(library("ok").run().status, Status::kDone);
  EXPECT_EQ(last.receivedBytes, 10000000);
  EXPECT_EQ(last.totalBytes, 20000032);
}

TEST_F(EventsTest, AFailureIsExplainedEvenIfNobodyReportedIt) {
  EXPECT_EQ(chainText(library("silent").run().errors), "[mtlhost] -1: the run failed (code -7)");
  EXPECT_EQ(chainText(library("empty-chain").run().errors),
            "[mtlhost] -1: the run failed (code -1)");
  EXPECT_EQ(chainText(library("warning-only").run().errors),
            "[mtlhost] -1: Creating local stamp file failed: (5) Denied.\r\n");
}

TEST_F(EventsTest, ACheckTellsWhetherThereIsAnUpdate) {
  EXPECT_EQ(library("ok").check().status, Status::kUpdateAvailable);
  EXPECT_EQ(library("up-to-date").check().status, Status::kDone);
  EXPECT_EQ(library("refused").check().status, Status::kFailed);
}

TEST_F(EventsTest, TheObserverEndsARun) {
  observer_.answer = [](const Transfer&) { return false; };
  const Result result = library("stall").run();
  EXPECT_EQ(result.status, Status::kCancelled);
  EXPECT_EQ(chainText(result.errors),
            "[DownloaderImpl::readRemoteIdFile] -1: Could not download remote stamp file | "
            "[HttpGetter::responseProgressCb] -1: Download aborted (1)");
}

TEST_F(EventsTest, ARunThatWasToldToStopStaysSo) {
  int asked = 0;
  observer_.answer = [&](const Transfer&) { return ++asked != 1; };
  Library stalled = library("stall");
  EXPECT_EQ(stalled.run().status, Status::kCancelled);
  EXPECT_EQ(asked, 1);
}

TEST_F(EventsTest, TheObserverMayCancelButNotRunAgain) {
  std::optional<Library> stalled = library("stall");
  std::optional<Status> nested;
  observer_.onLine = [&](const std::string& line) {
    if (line != "stage: Waiting") return;
    nested = stalled->run().status;
    stalled->cancel();
  };
  EXPECT_EQ(stalled->run().status, Status::kCancelled);
  EXPECT_EQ(nested, Status::kBusy);
}

TEST_F(EventsTest, RunsMayBeCancelledBeforeTheyBegin) {
  Library cancelled = library("ok");
  cancelled.cancel();
  const Result result = cancelled.run();
  EXPECT_EQ(result.status, Status::kCancelled);
  EXPECT_EQ(result.code, -1);
  EXPECT_EQ(chainText(result.errors), "[mtlhost] -1: cancelled before it began");
  EXPECT_TRUE(observer_.lines.empty());
  EXPECT_EQ(cancelled.run().status, Status::kDone);
}

TEST_F(EventsTest, ARequestToCancelIsUsedUpByARunThatIsDoneBefore) {
  Library done = library("up-to-date");
  observer_.onLine = [&](const std::string& line) {
    if (line.rfind("stage: Local and", 0) == 0) done.cancel();
  };
  EXPECT_EQ(done.run().status, Status::kDone);
  EXPECT_EQ(done.run().status, Status::kDone);
}

/// An exception for each kind of event.
class ThrowingObserver : public EventsTest, public testing::WithParamInterface<std::string> {};

TEST_P(ThrowingObserver, GetsItsExceptionBackAndAnotherRun) {
  Library library = this->library("everything");
  observer_.onLine = [](const std::string& line) {
    if (line == GetParam()) throw std::runtime_error(line);
  };
  const auto expectThrow = [&](Result (Library::*call)()) {
    observer_.lines.clear();
    try {
      (library.*call)();
      FAIL() << "no exception";
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(error.what(), GetParam());
    }
    EXPECT_EQ(observer_.lines.back(), GetParam()) << "was told more";
  };
  expectThrow(&Library::run);
  expectThrow(&Library::check);

  observer_.onLine = [](const std::string&) {};
  observer_.lines.clear();
  EXPECT_EQ(library.run().status, Status::kFailed);
  EXPECT_EQ(observer_.lines, kEverything);
}

INSTANTIATE_TEST_SUITE_P(Events, ThrowingObserver, testing::ValuesIn(kEverything));

TEST_F(EventsTest, AnExceptionEndsTheRun) {
  for (const std::string thrower : {"stage: Waiting", "text: Accessing stamp", "go on"}) {
    observer_.onLine = [&](const std::string& line) {
      if (line == thrower) throw 42;
    };
    Library stalled = library("stall");
    EXPECT_THROW(stalled.run(), int);
  }
}

}  // namespace
}  // namespace mtlhost
