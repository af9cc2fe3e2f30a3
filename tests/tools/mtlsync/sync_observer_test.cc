// Tests what the program prints for each callback.
#include "mtlsync/sync_observer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdarg>
#include <sstream>

namespace mtlsync {
namespace {

using mtlhost::Message;

class SyncObserverTest : public testing::Test {
 protected:
  SyncObserver observerWith(Verbosity verbosity) {
    return {{messages_, messages_, &progress_, nullptr}, verbosity, [this] { return stop_; }};
  }

  static mtlhost::Errors failed(const std::string& sentence,
                                mtlhost::ErrorKind kind = mtlhost::ErrorKind::kOther) {
    mtlhost::Errors chain{{"A::b", -1, "what failed"}, {"", 5, "why\r\n"}};
    chain.front().kind = kind;
    chain.front().sentence = sentence;
    return chain;
  }

  /// Tells of a message, as the library writes it.
  static void tell(SyncObserver& observer, void (SyncObserver::*kind)(const Message&),
                   const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    (observer.*kind)(Message(format, arguments));
    va_end(arguments);
  }

  bool stop_ = false;
  ProgressDisplay::TimePoint now_;
  std::ostringstream stream_;
  common::Console messages_{stream_, {}};
  ProgressDisplay progress_{messages_};
};

TEST_F(SyncObserverTest, CountsFilesAndBytes) {
  SyncObserver observer = observerWith(Verbosity::kNormal);
  tell(observer, &SyncObserver::stage, "Downloading file \"%s\" (%lli bytes)", "a.tx", 10LL);
  tell(observer, &SyncObserver::stage, "Saving file \"%s\"", "a.tx");
  tell(observer, &SyncObserver::stage, "Downloading file \"%s\" (%lli bytes)", "b.tx", 20LL);
  observer.shouldContinue({10, 10});
  observer.shouldContinue({20, 30});
  EXPECT_EQ(observer.record().files, 2);
  EXPECT_EQ(observer.record().bytes, 30);
  EXPECT_FALSE(observer.record().isUnchanged);
}

TEST_F(SyncObserverTest, ShowsTheFileThatWasBegunLast) {
  common::Console terminal(stream_, {true, [] { return 120; }});
  ProgressDisplay progress(terminal, [this] { return now_; });
  SyncObserver observer({terminal, terminal, &progress, nullptr}, Verbosity::kNormal,
                        [] { return false; });
  tell(observer, &SyncObserver::stage, "Downloading file \"%s\" (%lli bytes)", "a\"b.tx", 10LL);
  observer.progress({"Downloading files", 100, 0, 20});
  EXPECT_THAT(stream_.str(), testing::EndsWith("   10%  0.0 / 20 MB  a\"b.tx"));
}

TEST_F(SyncObserverTest, TellsDifferences) {
  using Kind = mtlhost::Difference::Kind;
  SyncObserver observer = observerWith(Verbosity::kQuiet);
  observer.showDifferences({{Kind::kDamaged, "a"},
                            {Kind::kMissing, "b\nc"},
                            {Kind::kExtra, "d"},
                            {Kind::kWrongSize, "e"},
                            {Kind::kUnreadable, "f", "denied"},
                            {Kind::kChanged, "g"}});
  EXPECT_EQ(stream_.str(),
            "a: has another content than in the library\n"
            "b c: is missing\n"
            "d: is not of the library\n"
            "e: has another size than in the library\n"
            "f: cannot be read: denied\n"
            "g: was changed, as the library allows\n");
  EXPECT_EQ(observer.record().differences, 6);
}

TEST_F(SyncObserverTest, ColoursTheKindOfAMessage) {
  common::Console colourful(stream_, {true, [] { return 80; }, true});
  SyncObserver observer({colourful, colourful, nullptr, nullptr}, Verbosity::kNormal,
                        [] { return false; });
  observer.warning("careful");
  observer.error(failed("It failed."));
  EXPECT_EQ(stream_.str(),
            "mtlsync: \x1b[33mwarning:\x1b[m careful\n"
            "mtlsync: \x1b[31merror:\x1b[m It failed.\n");
}

TEST_F(SyncObserverTest, NoticesThatThereWasNothingToDo) {
  SyncObserver observer = observerWith(Verbosity::kNormal);
  tell(observer, &SyncObserver::stage, "Local and remote stamp files match. Nothing to do.");
  EXPECT_TRUE(observer.record().isUnchanged);
}

TEST_F(SyncObserverTest, GoesNotOnOnceStopped) {
  SyncObserver observer = observerWith(Verbosity::kNormal);
  EXPECT_TRUE(observer.shouldContinue({}));
  stop_ = true;
  EXPECT_FALSE(observer.shouldContinue({}));
}

TEST_F(SyncObserverTest, DoesNotRepeatToWhoeverStoppedItThatItWasStopped) {
  SyncObserver observer = observerWith(Verbosity::kNormal);
  stop_ = true;
  observer.error(failed("Cancelled.", mtlhost::ErrorKind::kCancelled));
  EXPECT_EQ(stream_.str(), "");
  observer.error(failed("It failed."));
  EXPECT_EQ(stream_.str(), "mtlsync: error: It failed.\n");
}

TEST_F(SyncObserverTest, PrintsTheChainWhenVerbose) {
  SyncObserver observer = observerWith(Verbosity::kVerbose);
  stop_ = true;
  observer.error(failed("Cancelled.", mtlhost::ErrorKind::kCancelled));
  EXPECT_EQ(stream_.str(),
            "mtlsync: error: Cancelled.\n"
            "  what failed [A::b, code -1]\n"
            "  why [code 5]\n");
}

TEST_F(SyncObserverTest, PrintsStagesOnlyWhenVerbose) {
  SyncObserver normal = observerWith(Verbosity::kNormal);
  tell(normal, &SyncObserver::stage, "Creating download directory");
  tell(normal, &SyncObserver::info, "Remote address: \"%s\"", "http://a");
  EXPECT_EQ(stream_.str(), "");
  SyncObserver verbose = observerWith(Verbosity::kVerbose);
  tell(verbose, &SyncObserver::stage, "Creating download directory");
  tell(verbose, &SyncObserver::info, "Remote address: \"%s\"", "http://a");
  EXPECT_EQ(stream_.str(), "Creating download directory\nRemote address: \"http://a\"\n");
}

TEST_F(SyncObserverTest, PrintsWarningsUnlessQuiet) {
  SyncObserver quiet = observerWith(Verbosity::kQuiet);
  quiet.warning("Incorrect size of json file list (0 bytes)");
  quiet.nonFatalError({"A::b", -1, "Ivalid http proxy address \"?\"."});
  EXPECT_EQ(stream_.str(), "");
  SyncObserver normal = observerWith(Verbosity::kNormal);
  normal.warning("Incorrect size of json file list (0 bytes)");
  normal.nonFatalError({"A::b", -1, "Ivalid http proxy address \"?\"."});
  EXPECT_EQ(stream_.str(),
            "mtlsync: warning: Incorrect size of json file list (0 bytes)\n"
            "mtlsync: warning: Ivalid http proxy address \"?\".\n");
}

}  // namespace
}  // namespace mtlsync
