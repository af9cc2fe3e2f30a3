// Parses the command line with CLI11; every mistake is reported in one line.
#include "mtlsync/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "mtlhost/parse.h"
#include "rules/printable.h"

namespace mtlsync {

namespace {

constexpr const char* kDefaultMaxFileSize = "2G";
constexpr const char* kNoLimit = "0";

constexpr const char* kFooter =
    R"(SIZE is in bytes, or with k, M or G; 0 means no limit. TIME is 90s, 5m or 2h.
Exit status: 0 done, 1 failed, 2 wrong usage, 3 network, 4 disk, 5 content not
as published or signed, 6 busy, 7 differences, 100 update, 130 interrupted.)";

/// Knows that URL is not always given.
class HelpFormatter final : public CLI::Formatter {
 public:
  std::string make_usage(const CLI::App* /*app*/, std::string name) const override {
    return "Usage: " + name + " [OPTIONS] URL DIR, " + name + " --status|--verify [OPTIONS] DIR\n";
  }
};

/// The option groups: the one that --help shows, and the one that --help-network shows.
constexpr const char* kShownGroup = "Options";
constexpr const char* kNetworkGroup = "Network";

/// The options of one of the groups.
std::string helpOn(CLI::App& app, const std::string& group) {
  for (CLI::Option* option : app.get_options()) {
    if (option->get_positional()) continue;
    option->group(option->get_group() == group ? kShownGroup : "");
  }
  // What is not shown leaves an empty line where it comes last.
  std::string help = app.help();
  if (const std::size_t twice = help.find("\n\n\n"); twice != help.npos) help.erase(twice, 1);
  return help;
}

/// What was typed, as far as it is not yet what is wanted.
struct Typed {
  std::vector<std::string> names;  ///< URL and DIR.
  bool check = false;
  bool dryRun = false;
  bool repair = false;
  bool verify = false;
  bool status = false;
  bool helpOnNetwork = false;
  bool noProxy = false;
  bool quiet = false;
  bool verbose = false;
  std::string maxFileSize = kDefaultMaxFileSize;
  std::string maxTotalSize = kNoLimit;
  std::string limitRate = kNoLimit;
  std::string randomDelay;
  std::string proxyUser;
  std::string query;
  std::vector<std::string> fields;
  std::string connectTimeout;
  std::string stallTimeout;
  std::string mostTime;
  int retries = mtlhost::UpdateSettings().tries - 1;
};

CLI::Validator notEmpty() {
  return {[](std::string& value) { return value.empty() ? "must not be empty" : std::string(); },
          ""};
}

CLI::Validator isSize() {
  return {[](std::string& value) {
            return mtlhost::parseSize(value)
                       ? std::string()
                       : "not a number of bytes, perhaps with k, M or G: " + value;
          },
          ""};
}

CLI::Validator isDuration() {
  return {[](std::string& value) {
            return mtlhost::parseDuration(value)
                       ? std::string()
                       : "not a number of seconds, perhaps with m or h: " + value;
          },
          ""};
}

void declareModes(CLI::App& app, Typed& typed) {
  app.add_flag("--check", typed.check, "Only report whether an update exists");
  app.add_flag("--dry-run", typed.dryRun, "Only report what an update would do");
  app.add_flag("--repair", typed.repair, "Fetch what is missing or damaged, and only that");
  app.add_flag("--verify", typed.verify, "Only report what is missing or damaged");
  app.add_flag("--status", typed.status, "Only report, without the network, what is in DIR");
}

void declareSettings(CLI::App& app, Options& options, Typed& typed) {
  app.add_option("--sub-path", options.subPath, "Sub-path of the library")->type_name("PATH");
  app.add_option("--mirror", options.mirrors, "Another address of the library; repeatable")
      ->type_name("URL")
      ->expected(1)
      ->allow_extra_args(false)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->check(notEmpty());
  app.add_option("--proxy", options.proxyAddress, "HTTP proxy, HOST:PORT; the system's by default")
      ->type_name("ADDRESS")
      ->check(notEmpty());
  app.add_flag("--no-proxy", typed.noProxy, "Use no proxy");
  app.add_option("--max-file-size", typed.maxFileSize,
                 "Give up if a file is larger; 2G if not given")
      ->type_name("SIZE")
      ->check(isSize());
  app.add_option("--max-total-size", typed.maxTotalSize,
                 "Give up if more than SIZE is to be fetched")
      ->type_name("SIZE")
      ->check(isSize());
  app.add_flag("-q,--quiet", typed.quiet, "Print errors only");
  app.add_flag("-v,--verbose", typed.verbose, "Print every message");
  app.add_flag("--json", options.json, "Print events and result as JSON, one per line");
  app.add_option("--module", options.moduleFile, "Use this module instead of the built-in engine")
      ->type_name("FILE")
      ->check(notEmpty());
}

void declareUpdate(CLI::App& app, Options& options, Typed& typed) {
  mtlhost::UpdateSettings& update = options.update;
  app.add_flag("--full", update.full, "Fetch again everything that the list selects");
  app.add_flag("--prune", update.prune, "Remove files that the library has withdrawn");
  app.add_flag("--prune-most", update.pruneMost, "The same, even if more than half of the copy");
  app.add_option("--limit-rate", typed.limitRate, "Receive at most SIZE per second")
      ->type_name("SIZE")
      ->check(isSize());
  app.add_option("--retries", typed.retries, "Retry a failed request N times; 4 if not given")
      ->option_text("N")
      ->check(CLI::Range(0, mtlhost::kMostTries - 1));
  app.add_option("--random-delay", typed.randomDelay, "First wait for a random part of TIME")
      ->type_name("TIME")
      ->check(isDuration());
  app.add_flag("--wait", update.waitsForOthers, "Wait for another run on DIR to end");
}

void declareNetwork(CLI::App& app, mtlhost::NetworkSettings& network, Typed& typed) {
  app.add_flag("--help-network", typed.helpOnNetwork)->group("");
  app.option_defaults()->group(kNetworkGroup);
  app.add_option("--ca-file", network.caFile, "Trust only the authorities in FILE (PEM)")
      ->type_name("FILE")
      ->check(notEmpty());
  app.add_option("--proxy-user", typed.proxyUser, "USER:PASSWORD for the proxy")
      ->type_name("TEXT|@FILE")
      ->check(notEmpty());
  app.add_option("--field", typed.fields, "Also send \"NAME: VALUE\", over https only")
      ->type_name("TEXT|@FILE")
      ->expected(1)
      ->allow_extra_args(false)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->check(notEmpty());
  app.add_option("--query", typed.query, "Append \"?TEXT\" to every URL")
      ->type_name("TEXT|@FILE")
      ->check(notEmpty());
  app.add_option("--user-agent", network.userAgent,
                 "Name sent to servers; mtllib/VERSION by default")
      ->type_name("NAME")
      ->check(notEmpty());
  const auto addTime = [&](const char* name, std::string& time, const char* text) {
    app.add_option(name, time, text)->type_name("TIME")->check(isDuration());
  };
  addTime("--connect-timeout", typed.connectTimeout, "Longest time to connect; 30s if not given");
  addTime("--stall-timeout", typed.stallTimeout, "Longest time without any data; 60s if not given");
  addTime("--max-time", typed.mostTime, "Give up if the whole run takes longer");
  app.option_defaults()->group(kShownGroup);
}

void declareTrust(CLI::App& app, mtlhost::TrustSettings& trust) {
  app.add_option("--key", trust.keys, "Accept only what this public key has signed")
      ->type_name("KEY|FILE")
      ->expected(1)
      ->allow_extra_args(false)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->check(notEmpty());
  app.add_option("--name", trust.libraryName, "Name that the library must be signed with")
      ->type_name("NAME")
      ->check(notEmpty());
  app.add_flag("--allow-expired", trust.allowsExpired, "Accept an expired release, with a warning");
  app.add_flag("--forget-keys", trust.forgetsKeys, "Forget which keys and releases DIR has had");
}

/// The modes that were asked for, by their options.
std::vector<std::pair<std::string, Mode>> modesOf(const Typed& typed) {
  std::vector<std::pair<std::string, Mode>> modes;
  if (typed.check) modes.emplace_back("--check", Mode::kCheck);
  if (typed.dryRun) modes.emplace_back("--dry-run", Mode::kPlan);
  if (typed.repair) modes.emplace_back("--repair", Mode::kRepair);
  if (typed.verify) modes.emplace_back("--verify", Mode::kVerify);
  if (typed.status) modes.emplace_back("--status", Mode::kStatus);
  return modes;
}

/// The first option that the module knows nothing of; "" for none.
std::string engineOptionIn(const Typed& typed, const Options& options) {
  if (typed.dryRun) return "--dry-run";
  if (typed.repair) return "--repair";
  if (typed.verify) return "--verify";
  if (options.update.full) return "--full";
  if (options.update.prune) return "--prune";
  if (options.update.pruneMost) return "--prune-most";
  if (!options.trust.keys.empty()) return "--key";
  if (!options.mirrors.empty()) return "--mirror";
  if (typed.limitRate != kNoLimit) return "--limit-rate";
  if (!options.network.caFile.empty()) return "--ca-file";
  if (!typed.proxyUser.empty()) return "--proxy-user";
  if (!typed.fields.empty()) return "--field";
  if (!typed.query.empty()) return "--query";
  if (!options.network.userAgent.empty()) return "--user-agent";
  if (!typed.connectTimeout.empty()) return "--connect-timeout";
  if (!typed.stallTimeout.empty()) return "--stall-timeout";
  if (!typed.mostTime.empty()) return "--max-time";
  return typed.retries != Typed().retries ? "--retries" : "";
}

/// What is wrong with what was typed as a whole; "" when nothing is.
std::string contradictionIn(const Typed& typed, const Options& options) {
  const auto exclusion = [](const std::string& one, const std::string& other) {
    return one + " and " + other + " exclude each other";
  };
  const auto modes = modesOf(typed);
  if (typed.quiet && typed.verbose) return exclusion("--quiet", "--verbose");
  if (modes.size() > 1) return exclusion(modes[0].first, modes[1].first);
  if (options.trust.keys.empty()) {
    if (!options.trust.libraryName.empty()) return "--name needs --key";
    if (options.trust.allowsExpired) return "--allow-expired needs --key";
  }
  if (typed.noProxy && !options.proxyAddress.empty()) return exclusion("--proxy", "--no-proxy");
  if (const std::string option = engineOptionIn(typed, options);
      !usesEngine(options) && !option.empty()) {
    return exclusion("--module", option);
  }
  return "";
}

/// Whether DIR alone is named. A copy is verified with the list that it has.
bool needsNoUrl(const Typed& typed) {
  return typed.status || (typed.verify && typed.names.size() == 1);
}

/// Takes URL and DIR, or DIR alone. What is wrong with them; "" when nothing is.
std::string takeNames(const Typed& typed, Options& options) {
  std::vector<std::pair<const char*, std::string*>> wanted;
  if (!needsNoUrl(typed)) wanted.emplace_back("URL", &options.url);
  wanted.emplace_back("DIR", &options.directory);
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    const auto& [what, name] = wanted[i];
    if (i == typed.names.size()) return std::string(what) + " is required";
    *name = typed.names[i];
    if (name->empty()) return std::string(what) + ": must not be empty";
  }
  if (typed.names.size() == wanted.size()) return "";
  return "The following argument was not expected: " + typed.names[wanted.size()];
}

/// The lines of a text, or of the file that "@FILE" names: what others must not see does not stand
/// on command lines. Empty, with `problem`, when it cannot be read.
std::vector<std::string> linesOf(const std::string& textOrFile, std::string& problem) {
  if (textOrFile.front() != '@') return {textOrFile};
  const std::string name = textOrFile.substr(1);
  std::ifstream file(std::filesystem::u8path(name), std::ios::binary);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (!line.empty()) lines.push_back(line);
  }
  if (lines.empty()) problem = "Could not read a line from the file: " + name;
  return lines;
}

/// What stands before and behind the first colon, without the blanks there.
std::pair<std::string, std::string> splitAtColon(const std::string& text) {
  const std::size_t colon = std::min(text.find(':'), text.size());
  const std::size_t end = std::min(text.find_first_not_of(' ', colon + 1), text.size());
  return {text.substr(0, colon), text.substr(end)};
}

/// What is wrong with what was typed about the network; "" when nothing is.
std::string takeNetwork(const Typed& typed, Options& options) {
  std::string problem;
  mtlhost::NetworkSettings& network = options.network;
  if (!typed.proxyUser.empty()) {
    const std::vector<std::string> lines = linesOf(typed.proxyUser, problem);
    if (lines.empty()) return problem;
    const std::size_t colon = std::min(lines.front().find(':'), lines.front().size());
    network.proxyUser = lines.front().substr(0, colon);
    network.proxyPassword = lines.front().substr(std::min(colon + 1, lines.front().size()));
    if (network.proxyUser.empty()) return "--proxy-user: no user name";
  }
  for (const std::string& field : typed.fields) {
    for (const std::string& line : linesOf(field, problem)) {
      auto [name, value] = splitAtColon(line);
      network.fields.push_back({std::move(name), std::move(value)});
    }
  }
  if (!typed.query.empty()) {
    const std::vector<std::string> lines = linesOf(typed.query, problem);
    if (!lines.empty()) network.query = lines.front();
  }
  const auto timeOf = [](const std::string& text) {
    return text.empty() ? std::chrono::seconds(0) : *mtlhost::parseDuration(text);
  };
  network.connectTimeout = timeOf(typed.connectTimeout);
  network.stallTimeout = timeOf(typed.stallTimeout);
  const std::chrono::seconds mostTime = timeOf(typed.mostTime);
  if (mostTime.count() > 0) options.update.timeLimit = mostTime;
  return problem;
}

/// 0 is no limit.
std::optional<std::uint64_t> limitFrom(const std::string& text) {
  const std::int64_t bytes = *mtlhost::parseSize(text);
  return bytes > 0 ? std::optional(static_cast<std::uint64_t>(bytes)) : std::nullopt;
}

CommandLine wrongUsage(const std::string& problem) {
  return {CommandLine::Outcome::kWrongUsage, {}, mtlrules::printableLine(problem)};
}

}  // namespace

CommandLine parseCommandLine(int argumentCount, const char* const* arguments) {
  CommandLine line;
  Options& options = line.options;
  Typed typed;

  CLI::App app("Brings the local copy in DIR of the material library at URL up to date.",
               "mtlsync");
  app.formatter(std::make_shared<HelpFormatter>());
  app.allow_windows_style_options(false);
  app.set_help_flag("-h,--help", "Print this help; see also --help-network");
  app.set_version_flag("--version", "mtlsync " MTLSYNC_VERSION, "Print the version and exit");
  app.footer(kFooter);
  std::array<std::string, 2> names;
  const std::array<CLI::Option*, 2> positionals{
      app.add_option("URL", names[0], "Address of the library")->option_text(" "),
      app.add_option("DIR", names[1], "Folder of the local copy; created if missing")
          ->option_text(" ")};
  declareModes(app, typed);
  declareSettings(app, options, typed);
  declareUpdate(app, options, typed);
  declareNetwork(app, options.network, typed);
  declareTrust(app, options.trust);

  try {
    app.parse(argumentCount, arguments);
  } catch (const CLI::CallForHelp&) {
    return {CommandLine::Outcome::kShowText,
            {},
            helpOn(app, typed.helpOnNetwork ? kNetworkGroup : kShownGroup)};
  } catch (const CLI::CallForVersion& version) {
    return {CommandLine::Outcome::kShowText, {}, std::string(version.what()) + '\n'};
  } catch (const CLI::Error& error) {
    return wrongUsage(error.what());
  }

  if (typed.helpOnNetwork) {
    return {CommandLine::Outcome::kShowText, {}, helpOn(app, kNetworkGroup)};
  }
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (positionals[i]->count() > 0) typed.names.push_back(names[i]);
  }
  std::string problem = contradictionIn(typed, options);
  if (problem.empty()) problem = takeNames(typed, options);
  if (problem.empty()) problem = takeNetwork(typed, options);
  if (!problem.empty()) return wrongUsage(problem);
  options.update.largestFile = limitFrom(typed.maxFileSize);
  options.update.largestTotal = limitFrom(typed.maxTotalSize);
  options.update.bytesPerSecond = *mtlhost::parseSize(typed.limitRate);
  options.update.tries = typed.retries + 1;
  options.update.prune = options.update.prune || options.update.pruneMost;
  if (!typed.randomDelay.empty()) options.mostDelay = *mtlhost::parseDuration(typed.randomDelay);
  if (const auto modes = modesOf(typed); !modes.empty()) options.mode = modes.front().second;
  if (typed.noProxy) options.proxyMode = PROXY_MODE_DISABLED;
  if (!options.proxyAddress.empty()) options.proxyMode = PROXY_MODE_EXPLICIT;
  if (typed.quiet) options.verbosity = Verbosity::kQuiet;
  if (typed.verbose) options.verbosity = Verbosity::kVerbose;
  return line;
}

}  // namespace mtlsync
