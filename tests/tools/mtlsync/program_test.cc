// Tests the program as its users see it, with a plug-in that plays a part.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>

#include <set>
#include <sstream>

#include "support/child_process.h"
#include "support/regex_matchers.h"
#include "support/temp_dir.h"
#include "system_words.h"

namespace {

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

ProcessResult run(const std::vector<std::string>& arguments, const std::string& situation = "") {
  std::vector<std::string> all{MTLSYNC, "--module", MTLSYNC_FAKE_MODULE};
  all.insert(all.end(), arguments.begin(), arguments.end());
  return runProcess(all, {{"MTLSYNC_FAKE", situation}});
}

const std::string kRefusedHint =
    "Check the address and its port. If this network requires a proxy, set one.\n";
const std::string kBeyondLimit = "mtlsync: error: More was received than the settings allow.\n";
const std::string kModuleHint = "Reinstall the program, or choose another module.\n";
const std::string kLimitHint = "If that much is expected, raise the limit in the settings.\n";

/// The system's words, which are a sentence on Windows alone.
std::string asSentence(const std::string& words) {
  return words.back() == '.' ? words : words + '.';
}

std::vector<Json::Value> readLines(const std::string& text) {
  std::vector<Json::Value> values;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream input(line);
    Json::Value value;
    std::string problem;
    EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), input, &value, &problem))
        << line << '\n'
        << problem;
    values.push_back(value);
  }
  return values;
}

TEST(Program, TellsWhatItUpdated) {
  const ProcessResult result = run({"ok", "dir"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_THAT(result.out, MatchesPattern("Updated: 2 files, 20\\.0 MB in [0-9.]+ s\\.\n"));
  EXPECT_EQ(result.err,
            "Accessing stamp\n"
            "Downloading files\n"
            "Downloading files: 10 % (2.0 of 20 MB)\n"
            "Downloading files: 20 % (4.0 of 20 MB)\n"
            "Downloading files: 30 % (6.0 of 20 MB)\n"
            "Downloading files: 40 % (8.0 of 20 MB)\n"
            "Downloading files: 50 % (10.0 of 20 MB)\n"
            "Downloading files: 60 % (12.0 of 20 MB)\n"
            "Downloading files: 70 % (14.0 of 20 MB)\n"
            "Downloading files: 80 % (16.0 of 20 MB)\n"
            "Downloading files: 90 % (18.0 of 20 MB)\n"
            "Downloading files: 100 % (20.0 of 20 MB)\n");
}

TEST(Program, TellsThatThereWasNothingToDo) {
  const ProcessResult result = run({"up-to-date", "dir"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out, "Up to date.\n");
  EXPECT_EQ(result.err, "Accessing stamp\n");
}

TEST(Program, ChecksForAnUpdate) {
  const ProcessResult available = run({"--check", "ok", "dir"});
  EXPECT_EQ(available.exitCode, 100);
  EXPECT_EQ(available.out, "An update is available.\n");
  const ProcessResult none = run({"--check", "up-to-date", "dir"});
  EXPECT_EQ(none.exitCode, 0);
  EXPECT_EQ(none.out, "Up to date.\n");
  const ProcessResult failed = run({"--check", "refused", "dir"});
  EXPECT_EQ(failed.exitCode, 1);
  EXPECT_EQ(failed.out, "");
}

TEST(Program, SaysWhatFailedAndWhatToDo) {
  const ProcessResult result = run({"certificate", "dir"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err,
              MatchesPattern("mtlsync: error: Could not fetch [^\n]*id.txt: the server's "
                             "certificate could not be verified\\.\n"
                             "Check the address and this computer's clock\\. [^\n]+\n"));
}

TEST(Program, NamesTheFileThatCouldNotBeSaved) {
  const TempDir dir;
  const std::string target = dir / "my dir";
  for (const char* verbosity : {"--json", "-q"}) {
    const ProcessResult result = run({verbosity, "full-disk", target, "--sub-path", "beta"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(
        result.err,
        "mtlsync: error: \"" + target +
            "/a.tx\" cannot be written: Disk full.\n"
            "Free some space on the disk. Then try again: what has been downloaded is kept.\n");
  }
}

TEST(Program, PrintsErrorsInDetailWhenVerbose) {
  EXPECT_EQ(
      run({"-v", "refused", "dir"}).err,
      "mtlsync: error: Could not fetch http://refused/id.txt: could not connect to the server: " +
          asSentence(refusedText()) +
          "\n"
          "  Could not download remote stamp file [DownloaderImpl::readRemoteIdFile, code "
          "-1]\n"
          "  Connection error: reason=2 extraF=1000 underlying=111 "
          "[HttpGetter::responseErrorCb, code -1]\n" +
          kRefusedHint);
}

TEST(Program, EndsARunThatExceedsALimit) {
  const ProcessResult file = run({"-q", "--max-file-size", "50M", "endless", "dir"});
  EXPECT_EQ(file.exitCode, 1);
  EXPECT_EQ(file.out, "");
  EXPECT_EQ(file.err, kBeyondLimit + kLimitHint);
  EXPECT_EQ(run({"-q", "endless", "dir"}).err, kBeyondLimit + kLimitHint);
  EXPECT_EQ(run({"-q", "--max-total-size", "50M", "endless", "dir"}).err,
            kBeyondLimit + kLimitHint);
  EXPECT_EQ(run({"-q", "--max-file-size", "0", "endless", "dir"}).exitCode, 0);
}

TEST(Program, TellsOfAnExceededLimitInDetail) {
  EXPECT_EQ(run({"-v", "--max-file-size", "1k", "endless", "dir"}).err,
            "Downloading files\n" + kBeyondLimit +
                "  more was received than the settings allow [mtlhost, code -1]\n"
                "  Could not download remote stamp file [DownloaderImpl::readRemoteIdFile, code "
                "-1]\n"
                "  Download aborted (1) [HttpGetter::responseProgressCb, code -1]\n" +
                kLimitHint);
  const std::vector<Json::Value> events =
      readLines(run({"--json", "--max-file-size", "1k", "endless", "dir"}).out);
  ASSERT_GE(events.size(), 3U);
  const Json::Value* last = &events.back();
  EXPECT_EQ(last[-1]["chain"][2]["message"].asString(), "Download aborted (1)");
  EXPECT_EQ(last[-1]["kind"].asString(), "limit");
  EXPECT_EQ(last->get("failure", "").asString(), "limit");
  EXPECT_EQ(last[0]["status"].asString(), "failed");
}

TEST(Program, PrintsEveryMessageWhenVerbose) {
  const ProcessResult result = run({"-v", "up-to-date", "dir"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out, "Up to date.\n");
  EXPECT_EQ(result.err,
            "Remote address: \"http://fake\"\n"
            "Downloading remote stamp file\n"
            "Accessing stamp\n"
            "Local and remote stamp files match. Nothing to do.\n");
}

TEST(Program, PrintsNothingWhenQuietUnlessItFails) {
  for (const char* url : {"ok", "up-to-date", "survived"}) {
    const ProcessResult result = run({"-q", url, "dir"});
    EXPECT_EQ(result.exitCode, 0) << url;
    EXPECT_EQ(result.out + result.err, "") << url;
  }
  const ProcessResult check = run({"-q", "--check", "ok", "dir"});
  EXPECT_EQ(check.exitCode, 100);
  EXPECT_EQ(check.out + check.err, "");
  const ProcessResult failed = run({"-q", "refused", "dir"});
  EXPECT_EQ(failed.exitCode, 1);
  EXPECT_EQ(failed.out, "");
  EXPECT_THAT(failed.err, StartsWith("mtlsync: error: Could not fetch http://refused/id.txt: "));
}

TEST(Program, PrintsWarningsOfARunThatSucceeds) {
  const ProcessResult result = run({"survived", "dir"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_THAT(result.err, StartsWith("mtlsync: warning: Ivalid http proxy address \"???\".\n"));
}

TEST(Program, NeverFailsWithoutAWord) {
  const auto errorOf = [](const std::vector<std::string>& arguments) {
    const ProcessResult result = run(arguments);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.out, "");
    return result.err;
  };
  const std::string stampFailed =
      "mtlsync: error: \"dir/id.txt\" cannot be written: Denied.\n"
      "Check that you have permission to write to \"dir\". Then try again: what has been "
      "downloaded is kept.\n";
  EXPECT_EQ(errorOf({"warning-only", "dir"}),
            "mtlsync: warning: Creating local stamp file failed: (5) Denied.\n" + stampFailed);
  EXPECT_EQ(errorOf({"-q", "warning-only", "dir"}), stampFailed);
  const std::string silent =
      "mtlsync: error: \"dir/id.txt\" cannot be written.\n"
      "Free some space on the disk, then try again.\n";
  EXPECT_EQ(errorOf({"silent", "dir"}), silent);
  EXPECT_EQ(errorOf({"-q", "silent", "dir"}), silent);
  EXPECT_EQ(errorOf({"empty-chain", "dir"}), silent);
  EXPECT_EQ(errorOf({"survived-then-silent", "dir"}),
            "mtlsync: warning: Ivalid http proxy address \"???\".\n" + silent);
}

TEST(Program, HandsItsOptionsToTheLibrary) {
  EXPECT_EQ(run({"-v", "settings", "some dir"}).err, "some dir||0|\n");
  EXPECT_EQ(run({"--check", "-v", "settings", "d", "--sub-path", "a%20b"}).err, "d|a%20b|0|\n");
  EXPECT_EQ(run({"-v", "settings", "d", "--proxy", "p:1"}).err, "d||2|p:1\n");
  EXPECT_EQ(run({"-v", "settings", "d", "--no-proxy"}).err, "d||3|\n");
}

TEST(Program, PrintsMessagesOfAnyLength) {
  const ProcessResult result = run({"-v", "long", "dir"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "<" + std::string(100000, 'x') + ">\n");
}

TEST(Program, PrintsHostileNamesHarmlessly) {
  EXPECT_EQ(run({"-v", "hostile", "dir"}).err,
            "Downloading file \"\\xFF\\x1B]0;owned\\x07 .tx\" (1 bytes)\n");
  const std::vector<Json::Value> events = readLines(run({"--json", "hostile", "dir"}).out);
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(events[0]["text"].asString(),
            "Downloading file \"\xEF\xBF\xBD\x1B]0;owned\x07\n.tx\" (1 bytes)");
}

TEST(Program, PrintsEveryEventAsJson) {
  const ProcessResult result = run({"--json", "ok", "dir"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  const std::vector<Json::Value> events = readLines(result.out);
  std::set<std::string> names;
  for (const Json::Value& event : events)
    names.insert(event["event"].asString());
  EXPECT_EQ(names, (std::set<std::string>{"beginProgress", "endProgress", "info", "progress",
                                          "progressRange", "progressText", "progressValue",
                                          "result", "stage"}));
  EXPECT_EQ(events.front()["text"].asString(), "Remote address: \"http://fake\"");
  const Json::Value& last = events.back();
  EXPECT_EQ(last["event"].asString(), "result");
  EXPECT_EQ(last["status"].asString(), "updated");
  EXPECT_EQ(last["code"].asInt(), 0);
  EXPECT_EQ(last["files"].asInt(), 2);
  EXPECT_EQ(last["bytes"].asInt64(), 20000032);
}

TEST(Program, EndsJsonWithTheResult) {
  const auto resultOf = [](std::vector<std::string> arguments, const std::string& situation = "") {
    arguments.insert(arguments.end(), {"--json", "dir"});
    const Json::Value result = readLines(run(arguments, situation).out).back();
    EXPECT_EQ(result["event"].asString(), "result");
    return result["status"].asString() + " " + std::to_string(result["code"].asInt());
  };
  EXPECT_EQ(resultOf({"up-to-date"}), "upToDate 0");
  EXPECT_EQ(resultOf({"--check", "up-to-date"}), "upToDate 0");
  EXPECT_EQ(resultOf({"--check", "ok"}), "updateAvailable 1");
  EXPECT_EQ(resultOf({"refused"}), "failed -1");
  EXPECT_EQ(resultOf({"silent"}), "failed -7");
  EXPECT_EQ(resultOf({"ok"}, "version 99"), "failed -1");
}

TEST(Program, TellsFailuresAsJsonToo) {
  const std::vector<Json::Value> events = readLines(run({"--json", "refused", "dir"}).out);
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(events[0]["event"].asString(), "error");
  EXPECT_EQ(events[0]["chain"].size(), 2U);
  EXPECT_EQ(events[0]["chain"][1]["tag"].asString(), "HttpGetter::responseErrorCb");
  EXPECT_EQ(events[0]["chain"][1]["code"].asInt(), -1);
  EXPECT_EQ(events[0]["chain"][1]["message"].asString(),
            "Connection error: reason=2 extraF=1000 underlying=111");
  EXPECT_EQ(readLines(run({"--json", "warning-only", "dir"}).out)[0]["event"].asString(),
            "warning");
  EXPECT_EQ(readLines(run({"--json", "survived", "dir"}).out)[0]["event"].asString(),
            "taggedError");
}

TEST(Program, RefusesWrongUsageInTwoLinesAndWritesNothing) {
  const TempDir dir;
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{},
                                             {"ok"},
                                             {"", dir / "x"},
                                             {"ok", ""},
                                             {"ok", dir / "x", "extra"},
                                             {"ok", dir / "x", "--fast"},
                                             {"ok", dir / "x", "--check", "--repair"},
                                             {"ok", dir / "x", "--status"},
                                             {"ok", dir / "x", "--max-file-size", "much"},
                                             {"ok", dir / "x", "-q", "-v"},
                                             {"ok", dir / "x", "--proxy", "p", "--no-proxy"},
                                             {"ok", dir / "x", "--proxy", ""}}) {
    const ProcessResult result = run(arguments);
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err,
                MatchesPattern("mtlsync: [^\n]+\nRun mtlsync --help for more information.\n"));
  }
  EXPECT_TRUE(fs::is_empty(dir.path()));
}

TEST(Program, ShowsHelpAndVersionOnStandardOutput) {
  const ProcessResult help = runProcess({MTLSYNC, "--help"});
  EXPECT_EQ(help.exitCode, 0);
  EXPECT_THAT(help.out, HasSubstr("Usage: mtlsync [OPTIONS] URL DIR, "
                                  "mtlsync --status|--verify [OPTIONS] DIR\n"));
  EXPECT_EQ(help.err, "");
  const ProcessResult version = runProcess({MTLSYNC, "--version"});
  EXPECT_EQ(version.exitCode, 0);
  EXPECT_THAT(version.out, StartsWith("mtlsync "));
}

TEST(Program, FailsWithoutAUsableModule) {
  const auto errorOf = [](const std::string& situation) {
    const ProcessResult result = run({"ok", "dir"}, situation);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.out, "");
    return result.err;
  };
  EXPECT_EQ(errorOf("version 99"),
            "mtlsync: error: Could not use the module \"" +
                fs::absolute(MTLSYNC_FAKE_MODULE).make_preferred().u8string() +
                "\": its interface has version 99, not 100.\n" + kModuleHint);
  EXPECT_EQ(errorOf("broken context"),
            "mtlsync: error: The networking library could not be started: [Context] -5: no TLS.\n");
  EXPECT_EQ(errorOf("no context"),
            "mtlsync: error: The networking library could not be started: out of memory.\n");
  EXPECT_EQ(errorOf("no downloader"), "mtlsync: error: Out of memory.\n");

  const TempDir dir;
  const std::string missingFile = (dir.path() / "m.so").u8string();
  const ProcessResult missing = runProcess({MTLSYNC, "--module", missingFile, "ok", "dir"});
  EXPECT_EQ(missing.exitCode, 1);
  EXPECT_EQ(missing.err, "mtlsync: error: Could not use the module \"" + missingFile +
                             "\": " + asSentence(missingText(missingFile)) + "\n" + kModuleHint);
}

TEST(Program, EndsInAnOrderlyWayWhenNobodyReads) {
  const ProcessResult result =
      ChildProcess({MTLSYNC, "--module", MTLSYNC_FAKE_MODULE, "--json", "slow", "dir"}, {},
                   ChildProcess::Output::kReadByNobody)
          .wait();
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.err, HasSubstr("mtlsync: error: could not write to standard output\n"));
}

TEST(Program, TakesAFolderThatClimbs) {
  const std::string parent = fs::current_path().parent_path().generic_u8string();
  EXPECT_EQ(run({"-v", "settings", "../dir"}).err, parent + "/dir||0|\n");
}

TEST(Program, TakesNamesInAnyScript) {
  EXPECT_EQ(run({"-v", "settings", "é 木 \xF0\x9F\x8C\xB3 кириллица"}).err,
            "é 木 \xF0\x9F\x8C\xB3 кириллица||0|\n");
  EXPECT_EQ(run({"--check", "-v", "settings", "\"a\\\" b\\", "--sub-path", "*.tx"}).err,
            "\"a\\\" b\\|*.tx|0|\n");
}

}  // namespace
