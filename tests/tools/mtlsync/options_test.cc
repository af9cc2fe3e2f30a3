// Tests the command line, right and wrong.
#include "mtlsync/options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <sstream>
#include <string>
#include <vector>

#include "support/regex_matchers.h"
#include "support/temp_dir.h"

namespace mtlsync {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

CommandLine parse(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "mtlsync");
  return parseCommandLine(static_cast<int>(arguments.size()), arguments.data());
}

Options accepted(const std::vector<const char*>& arguments) {
  const CommandLine line = parse(arguments);
  EXPECT_EQ(line.outcome, CommandLine::Outcome::kRun) << line.text;
  return line.options;
}

std::string problemWith(const std::vector<const char*>& arguments) {
  const CommandLine line = parse(arguments);
  EXPECT_EQ(line.outcome, CommandLine::Outcome::kWrongUsage);
  return line.text;
}

TEST(CommandLineOptions, NeedNothingButUrlAndDirectory) {
  const Options options = accepted({"http://a/b", "some dir"});
  EXPECT_EQ(options.url, "http://a/b");
  EXPECT_EQ(options.directory, "some dir");
  EXPECT_EQ(options.subPath, "");
  EXPECT_EQ(options.proxyMode, PROXY_MODE_SYSTEM);
  EXPECT_EQ(options.proxyAddress, "");
  EXPECT_EQ(options.moduleFile, "");
  EXPECT_EQ(options.verbosity, Verbosity::kNormal);
  EXPECT_EQ(options.update.largestFile, 2000000000U);
  EXPECT_EQ(options.update.largestTotal, std::nullopt);
  EXPECT_EQ(options.mode, Mode::kSync);
  EXPECT_FALSE(options.json);
}

TEST(CommandLineOptions, SayHowRequestsAreSent) {
  const Options options = accepted(
      {"--ca-file",         "ca.pem", "--proxy-user",    "ada:se:cret", "--field",      "X-A: b: c",
       "--field",           "Y:z",    "--query",         "sig=1&t=2",   "--user-agent", "me/1",
       "--connect-timeout", "5s",     "--stall-timeout", "2m",          "--max-time",   "1h",
       "http://a",          "dir"});
  const mtlhost::NetworkSettings& network = options.network;
  EXPECT_EQ(network.caFile, "ca.pem");
  EXPECT_EQ(network.proxyUser, "ada");
  EXPECT_EQ(network.proxyPassword, "se:cret");
  ASSERT_EQ(network.fields.size(), 2U);
  EXPECT_EQ(network.fields[0].name, "X-A");
  EXPECT_EQ(network.fields[0].value, "b: c");
  EXPECT_EQ(network.fields[1].value, "z");
  EXPECT_EQ(network.query, "sig=1&t=2");
  EXPECT_EQ(network.userAgent, "me/1");
  EXPECT_EQ(network.connectTimeout, std::chrono::seconds(5));
  EXPECT_EQ(network.stallTimeout, std::chrono::seconds(120));
  EXPECT_EQ(options.update.timeLimit, std::chrono::seconds(3600));
}

TEST(CommandLineOptions, SetNoTimeLimitWithZero) {
  const Options options = accepted(
      {"--connect-timeout", "0", "--stall-timeout", "0s", "--max-time", "0", "http://a", "dir"});
  EXPECT_EQ(options.network.connectTimeout.count(), 0);
  EXPECT_EQ(options.network.stallTimeout.count(), 0);
  EXPECT_EQ(options.update.timeLimit, std::nullopt);
}

TEST(CommandLineOptions, TakeSecretsFromFiles) {
  const TempDir dir;
  writeFile(dir / "user", "ada:secret\n");
  writeFile(dir / "fields", "A: 1\r\n\nB: 2\n");
  const std::string user = "@" + (dir / "user");
  const std::string fields = "@" + (dir / "fields");
  const mtlhost::NetworkSettings network =
      accepted({"--proxy-user", user.c_str(), "--field", fields.c_str(), "http://a", "dir"})
          .network;
  EXPECT_EQ(network.proxyUser, "ada");
  EXPECT_EQ(network.proxyPassword, "secret");
  ASSERT_EQ(network.fields.size(), 2U);
  EXPECT_EQ(network.fields[0].value, "1");
  EXPECT_EQ(network.fields[1].name, "B");
  for (const char* option : {"--proxy-user", "--field", "--query"}) {
    EXPECT_THAT(problemWith({option, "@/no/such/file", "http://a", "dir"}),
                HasSubstr("/no/such/file"));
  }
}

TEST(CommandLineOptions, SayNothingOfRequestsToTheModule) {
  for (const char* option : {"--ca-file", "--proxy-user", "--field", "--query", "--user-agent"}) {
    EXPECT_EQ(problemWith({"--module", "m", option, "a:b", "http://a", "dir"}),
              std::string("--module and ") + option + " exclude each other");
  }
}

TEST(CommandLineOptions, MayStandAnywhere) {
  const Options options = accepted({"--check", "http://a", "--sub-path", "x/y", "dir", "--json",
                                    "--module=m.so", "--proxy", "p:3128", "-v"});
  EXPECT_EQ(options.url, "http://a");
  EXPECT_EQ(options.directory, "dir");
  EXPECT_EQ(options.subPath, "x/y");
  EXPECT_EQ(options.proxyMode, PROXY_MODE_EXPLICIT);
  EXPECT_EQ(options.proxyAddress, "p:3128");
  EXPECT_EQ(options.moduleFile, "m.so");
  EXPECT_EQ(options.verbosity, Verbosity::kVerbose);
  EXPECT_EQ(options.mode, Mode::kCheck);
  EXPECT_TRUE(options.json);
}

TEST(CommandLineOptions, HaveShortForms) {
  EXPECT_EQ(accepted({"-q", "u", "d"}).verbosity, Verbosity::kQuiet);
  EXPECT_EQ(accepted({"-v", "u", "d"}).verbosity, Verbosity::kVerbose);
  EXPECT_EQ(accepted({"--quiet", "u", "d"}).verbosity, Verbosity::kQuiet);
  EXPECT_EQ(accepted({"--verbose", "u", "d"}).verbosity, Verbosity::kVerbose);
}

TEST(CommandLineOptions, CanTurnTheProxyOff) {
  EXPECT_EQ(accepted({"--no-proxy", "u", "d"}).proxyMode, PROXY_MODE_DISABLED);
}

TEST(CommandLineOptions, ChooseTheMode) {
  EXPECT_EQ(accepted({"--repair", "u", "d"}).mode, Mode::kRepair);
  EXPECT_EQ(accepted({"--verify", "u", "d"}).mode, Mode::kVerify);
}

TEST(CommandLineOptions, NeedNoUrlForTheStatus) {
  const Options options = accepted({"d", "--status"});
  EXPECT_EQ(options.mode, Mode::kStatus);
  EXPECT_EQ(options.directory, "d");
  EXPECT_EQ(options.url, "");
}

TEST(CommandLineOptions, NeedNoUrlToVerifyByTheEngine) {
  const Options options = accepted({"d", "--verify"});
  EXPECT_EQ(options.mode, Mode::kVerify);
  EXPECT_EQ(options.directory, "d");
  EXPECT_EQ(options.url, "");
}

TEST(CommandLineOptions, SayHowToUpdate) {
  const Options usual = accepted({"u", "d"});
  EXPECT_TRUE(usesEngine(usual));
  EXPECT_FALSE(usual.update.full || usual.update.prune || usual.update.waitsForOthers);
  EXPECT_EQ(usual.update.tries, 5);
  EXPECT_EQ(usual.update.bytesPerSecond, 0);
  EXPECT_EQ(usual.mostDelay.count(), 0);
  const Options options = accepted({"--dry-run", "--full", "--prune", "--limit-rate", "2M",
                                    "--retries", "0", "--random-delay", "30m", "--wait", "u", "d"});
  EXPECT_EQ(options.mode, Mode::kPlan);
  EXPECT_TRUE(options.update.full && options.update.prune && options.update.waitsForOthers);
  EXPECT_FALSE(options.update.pruneMost);
  EXPECT_EQ(options.update.tries, 1);
  EXPECT_EQ(options.update.bytesPerSecond, 2000000);
  EXPECT_EQ(options.mostDelay.count(), 1800);
  EXPECT_TRUE(accepted({"--prune-most", "u", "d"}).update.prune);
}

TEST(CommandLineOptions, NameMirrors) {
  EXPECT_THAT(accepted({"u", "d"}).mirrors, IsEmpty());
  EXPECT_THAT(accepted({"--mirror", "v", "u", "d", "--mirror", "w"}).mirrors,
              ElementsAre("v", "w"));
  EXPECT_NE(problemWith({"u", "d", "--mirror", ""}), "");
}

TEST(WrongUsage, IncludesWhatTheModuleKnowsNothingOf) {
  for (const std::vector<const char*>& option :
       std::vector<std::vector<const char*>>{{"--dry-run"},
                                             {"--full"},
                                             {"--prune"},
                                             {"--prune-most"},
                                             {"--limit-rate", "1"},
                                             {"--retries", "1"},
                                             {"--mirror", "v"},
                                             {"--verify"},
                                             {"--repair"}}) {
    std::vector<const char*> arguments{"u", "d", "--module", "m"};
    arguments.insert(arguments.end(), option.begin(), option.end());
    EXPECT_EQ(problemWith(arguments),
              std::string("--module and ") + option[0] + " exclude each other");
  }
  EXPECT_TRUE(accepted({"u", "d", "--module", "m", "--wait"}).update.waitsForOthers);
}

TEST(CommandLineOptions, LimitSizes) {
  const Options options = accepted({"--max-file-size", "0", "--max-total-size=10M", "u", "d"});
  EXPECT_EQ(options.update.largestFile, std::nullopt);
  EXPECT_EQ(options.update.largestTotal, 10000000U);
}

TEST(CommandLineOptions, EndAtADoubleDash) {
  const Options options = accepted({"--", "u", "-v"});
  EXPECT_EQ(options.directory, "-v");
  EXPECT_EQ(options.verbosity, Verbosity::kNormal);
}

TEST(CommandLineOptions, TakeNamesAsTheyStand) {
  const Options options = accepted({"[a,b]", "/dir with \"quotes\"", "--sub-path", ""});
  EXPECT_EQ(options.url, "[a,b]");
  EXPECT_EQ(options.directory, "/dir with \"quotes\"");
  EXPECT_EQ(options.subPath, "");
}

TEST(WrongUsage, SaysWhatIsMissing) {
  EXPECT_EQ(problemWith({}), "URL is required");
  EXPECT_EQ(problemWith({"http://a"}), "DIR is required");
  EXPECT_EQ(problemWith({"--status"}), "DIR is required");
  EXPECT_EQ(problemWith({"u", "d", "--proxy"}), "--proxy: 1 required ADDRESS missing");
}

TEST(WrongUsage, SaysWhatIsTooMuch) {
  EXPECT_EQ(problemWith({"u", "d", "e"}), "The following argument was not expected: e");
  EXPECT_EQ(problemWith({"u", "d", "--fast"}), "The following argument was not expected: --fast");
  EXPECT_EQ(problemWith({"--status", "u", "d"}), "The following argument was not expected: d");
}

TEST(WrongUsage, IncludesEmptyNames) {
  EXPECT_EQ(problemWith({"", "d"}), "URL: must not be empty");
  EXPECT_EQ(problemWith({"u", ""}), "DIR: must not be empty");
  EXPECT_EQ(problemWith({"--status", ""}), "DIR: must not be empty");
  EXPECT_EQ(problemWith({"u", "d", "--proxy", ""}), "--proxy: must not be empty");
  EXPECT_EQ(problemWith({"u", "d", "--module", ""}), "--module: must not be empty");
}

TEST(WrongUsage, IncludesSizesThatAreNone) {
  EXPECT_EQ(problemWith({"u", "d", "--max-file-size", "2T"}),
            "--max-file-size: not a number of bytes, perhaps with k, M or G: 2T");
  EXPECT_EQ(problemWith({"u", "d", "--max-total-size", "-1"}),
            "--max-total-size: not a number of bytes, perhaps with k, M or G: -1");
}

TEST(WrongUsage, IncludesContradictions) {
  EXPECT_EQ(problemWith({"-q", "-v", "u", "d"}), "--quiet and --verbose exclude each other");
  EXPECT_EQ(problemWith({"--proxy", "p", "--no-proxy", "u", "d"}),
            "--proxy and --no-proxy exclude each other");
  EXPECT_EQ(problemWith({"--check", "--repair", "u", "d"}),
            "--check and --repair exclude each other");
  EXPECT_EQ(problemWith({"--status", "--verify", "d"}), "--verify and --status exclude each other");
}

TEST(WrongUsage, IsToldInOneLine) {
  EXPECT_EQ(problemWith({"u", "d", "a\nb"}).find('\n'), std::string::npos);
}

TEST(CommandLineOptions, ShowHelpWithEveryOption) {
  for (const char* option : {"-h", "--help"}) {
    const CommandLine line = parse({option});
    EXPECT_EQ(line.outcome, CommandLine::Outcome::kShowText);
    for (const char* name : {"URL",
                             "DIR",
                             "--check",
                             "--repair",
                             "--verify",
                             "--status",
                             "--sub-path",
                             "--proxy",
                             "--no-proxy",
                             "--quiet",
                             "--verbose",
                             "--json",
                             "--max-file-size",
                             "--max-total-size",
                             "--dry-run",
                             "--full",
                             "--prune",
                             "--prune-most",
                             "--limit-rate",
                             "--retries",
                             "--random-delay",
                             "--wait",
                             "--key",
                             "--name",
                             "--allow-expired",
                             "--forget-keys",
                             "--mirror",
                             "--module",
                             "--version"}) {
      EXPECT_THAT(line.text, HasSubstr(name));
    }
  }
}

TEST(CommandLineOptions, ShowHelpThatFitsAScreen) {
  for (const char* option : {"--help", "--help-network"}) {
    std::istringstream help(parse({option}).text);
    int lines = 0;
    for (std::string line; std::getline(help, line); ++lines)
      EXPECT_LE(line.size(), 80U) << line;
    EXPECT_LE(lines, 40);
  }
}

TEST(CommandLineOptions, ShowHelpOnTheNetworkWhenAskedFor) {
  for (const std::vector<const char*>& arguments :
       {std::vector<const char*>{"--help-network"}, {"--help-network", "--help"}}) {
    const CommandLine line = parse(arguments);
    EXPECT_EQ(line.outcome, CommandLine::Outcome::kShowText);
    for (const char* name : {"--ca-file", "--proxy-user", "--field", "--query", "--user-agent",
                             "--connect-timeout", "--stall-timeout", "--max-time"})
      EXPECT_THAT(line.text, HasSubstr(name));
    EXPECT_THAT(line.text, testing::Not(HasSubstr("--repair")));
  }
  EXPECT_THAT(parse({"--help"}).text, testing::Not(HasSubstr("--ca-file")));
}

TEST(CommandLineOptions, ShowTheVersion) {
  const CommandLine line = parse({"--version"});
  EXPECT_EQ(line.outcome, CommandLine::Outcome::kShowText);
  EXPECT_THAT(line.text, MatchesPattern("mtlsync [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

}  // namespace
}  // namespace mtlsync
