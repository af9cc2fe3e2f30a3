// Tests --status: what it reports about a folder, without the network and the module.
#include "mtlsync/status.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <sstream>

#include "support/child_process.h"
#include "support/no_access.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::StartsWith;

class StatusTest : public testing::Test {
 protected:
  std::string copy(const std::string& name) const { return dir_ / ("copy/" + name); }

  /// Makes it known when the stamp was written: an hour and a second after the year began.
  void dateStamp(const std::string& name) const {
    constexpr std::int64_t kMoment = 1767229201;  // 2026-01-01T01:00:01Z
    const auto now = std::chrono::system_clock::now();
    const auto age = now - std::chrono::system_clock::from_time_t(kMoment);
    fs::last_write_time(fs::u8path(name), fs::file_time_type::clock::now() - age);
  }

  ProcessResult status(std::vector<std::string> options = {}) const {
    options.insert(options.begin(), {MTLSYNC, "--module", "none", "--status"});
    options.push_back(dir_ / "copy");
    return runProcess(options, {{"TZ", "XYZ-2"}});
  }

  /// The same in this process, which NoAccess keeps from files.
  mtlsync::ExitStatus tellHere(mtlsync::JsonEvents* events = nullptr) {
    mtlsync::Options options;
    options.directory = dir_ / "copy";
    common::Console console(printed_, {});
    return mtlsync::tellStatus(options, {console, console, nullptr, events},
                               [this] { return stop_; });
  }

  TempDir dir_;
  bool stop_ = false;
  std::ostringstream printed_;
};

TEST_F(StatusTest, TellsWhatIsThere) {
  writeFile(copy("id.txt"), "stamp 7\r\nmore\n");
  dateStamp(copy("id.txt"));
  writeFile(copy("a.tx"), "abc");
  writeFile(copy("maps/deep/b.tx"), std::string(1500, 'b'));
  writeFile(copy("maps/id.txt"), "of another library");
  writeFile(copy(".mtllib/state"), "what runs keep for themselves");
  fs::create_directories(fs::u8path(copy("empty")));
  const ProcessResult result = status();
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out,
            "Stamp: stamp 7\n"
            "Since: 2026-01-01 03:00:01\n"
            "Files: 3\n"
            "Size:  1.5 kB\n");
  EXPECT_EQ(result.err, "");
}

TEST_F(StatusTest, SaysThatAnUpdateIsUnfinished) {
  writeFile(copy("id.txt"), "stamp 7");
  writeFile(copy(".mtllib/stamp.new"), "stamp 8");
  EXPECT_THAT(status().out, testing::EndsWith("Size:  0 bytes\nAn update is unfinished.\n"));
  EXPECT_THAT(status({"--json"}).out, testing::HasSubstr("\"unfinished\":true}"));
}

TEST_F(StatusTest, TellsProgramsInUniversalTime) {
  writeFile(copy("id.txt"), "stamp 7");
  dateStamp(copy("id.txt"));
  writeFile(copy("a.tx"), "abc");
  EXPECT_EQ(status({"--json"}).out,
            "{\"bytes\":3,\"event\":\"status\",\"files\":1,"
            "\"signature\":{\"expires\":\"\",\"keyId\":\"\",\"kind\":\"none\",\"library\":\"\","
            "\"needsKeys\":false,\"problem\":\"\",\"published\":\"\",\"serial\":0},"
            "\"since\":\"2026-01-01T01:00:01Z\","
            "\"stamp\":\"stamp 7\",\"unfinished\":false}\n");
}

TEST_F(StatusTest, PrintsNothingWhenQuiet) {
  writeFile(copy("id.txt"), "stamp");
  const ProcessResult result = status({"-q"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out + result.err, "");
}

TEST_F(StatusTest, LooksBelowTheSubPath) {
  writeFile(copy("id.txt"), "of another library");
  writeFile(copy("a.tx"), "abc");
  writeFile(copy("beta/id.txt"), "stamp b");
  writeFile(copy("beta/b.tx"), "b");
  const ProcessResult result = status({"--sub-path", "beta"});
  EXPECT_THAT(result.out, HasSubstr("Stamp: stamp b\n"));
  EXPECT_THAT(result.out, HasSubstr("Files: 1\nSize:  1 byte\n"));
}

TEST_F(StatusTest, ShortensALongStampAndPrintsItHarmlessly) {
  writeFile(copy("id.txt"), "\x1b[31m" + std::string(100000, 'x'));
  EXPECT_THAT(status().out, HasSubstr("Stamp: \\x1B[31m" + std::string(61, 'x') + "...\n"));
}

TEST_F(StatusTest, TellsTheFirstLineThatIsNotBlank) {
  writeFile(copy("id.txt"), "\n \t\r\n abc\ndef\n");
  EXPECT_THAT(status().out, StartsWith("Stamp: abc\n"));
  writeFile(copy("id.txt"), "\n");
  const ProcessResult blank = status();
  EXPECT_EQ(blank.exitCode, 0);
  EXPECT_THAT(blank.out, StartsWith("Stamp: \n"));
}

TEST_F(StatusTest, SaysWhatToDoWhereThereIsNoStamp) {
  const auto failure = [this](const std::string& reason) {
    const ProcessResult result = status({"-q"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "mtlsync: error: There is no complete copy here: " + reason +
                              ".\n\"mtlsync URL " + (dir_ / "copy") + "\" makes it complete.\n");
  };
  const std::string stamp = '"' + copy("id.txt") + '"';
  failure("there is no stamp " + stamp);
  writeFile(copy("a.tx"), "abc");
  failure("there is no stamp " + stamp);
  writeFile(copy("id.txt"), "");
  failure("the stamp " + stamp + " is empty");
  fs::remove(fs::u8path(copy("id.txt")));
  fs::create_directories(fs::u8path(copy("id.txt")));
  failure("the stamp " + stamp + " is not a regular file");
}

TEST_F(StatusTest, TellsWhyTheStampCannotBeRead) {
  writeFile(copy("id.txt"), "stamp");
  const NoAccess none({fs::u8path(copy("id.txt"))});
  EXPECT_EQ(tellHere(), mtlsync::kExitFailed);
  EXPECT_EQ(printed_.str(), "mtlsync: error: Could not read the stamp \"" + copy("id.txt") +
                                "\": Permission denied.\n");
}

TEST_F(StatusTest, TellsProgramsThatThereIsNoStamp) {
  const ProcessResult result = status({"--json"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.out, HasSubstr("\"chain\":[{\"code\":-1,\"message\":\"There is no complete "
                                    "copy here\",\"tag\":\"mtlsync\"}"));
}

TEST_F(StatusTest, TellsWhichFolderItCannotRead) {
  writeFile(copy("id.txt"), "stamp");
  writeFile(copy("a.tx"), "abc");
  writeFile(copy("closed/b.tx"), "abc");
  const NoAccess none({fs::u8path(copy("closed"))});
  EXPECT_EQ(tellHere(), mtlsync::kExitDone);
  EXPECT_THAT(printed_.str(),
              StartsWith("mtlsync: warning: not counted: \"" + copy("closed") + "\": "));
  EXPECT_THAT(printed_.str(), HasSubstr("Files: 1\n"));
}

TEST_F(StatusTest, CanBeStopped) {
  writeFile(copy("id.txt"), "stamp");
  stop_ = true;
  EXPECT_EQ(tellHere(), mtlsync::kExitInterrupted);
  EXPECT_EQ(printed_.str(), "mtlsync: interrupted\n");
}

TEST_F(StatusTest, TellsProgramsThatItWasStopped) {
  writeFile(copy("id.txt"), "stamp");
  stop_ = true;
  std::ostringstream lines;
  mtlsync::JsonEvents events(lines);
  EXPECT_EQ(tellHere(&events), mtlsync::kExitInterrupted);
  EXPECT_EQ(lines.str(),
            "{\"bytes\":0,\"code\":-1,\"event\":\"result\",\"failure\":\"\",\"files\":0,"
            "\"status\":\"interrupted\"}\n");
}

TEST_F(StatusTest, TellsMomentsInUniversalTime) {
  EXPECT_EQ(mtlsync::universalTimeText(0), "1970-01-01T00:00:00Z");
  EXPECT_EQ(mtlsync::universalTimeText(1767229201), "2026-01-01T01:00:01Z");
}

}  // namespace
