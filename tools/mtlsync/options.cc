// The options as CLI11 knows them; every mistake becomes one line.
#include "mtlsync/options.h"

#include <CLI/CLI.hpp>

#include "mtlsync/printable.h"

namespace mtlsync {

namespace {

constexpr const char* kDefaultMaxFileSize = "2G";
constexpr const char* kNoLimit = "0";

constexpr const char* kFooter = R"(
SIZE is in bytes, or with k, M or G in thousands, millions or billions; 0 is no
limit. A file is held in memory until it is saved, five of them at once.

Exit status: 0 done or up to date, 1 failed, 2 wrong usage, 100 an update is
available (with --check), 130 interrupted.

Examples:
  mtlsync https://materials.example/library ~/materials
  mtlsync --check https://materials.example/library ~/materials)";

CLI::Validator notEmpty() {
  return {[](std::string& value) { return value.empty() ? "must not be empty" : std::string(); },
          ""};
}

CLI::Validator isSize() {
  return {[](std::string& value) {
            return parseSize(value) ? std::string()
                                    : "not a number of bytes, perhaps with k, M or G: " + value;
          },
          ""};
}

// The library puts a slash behind the address, and a server may tell "//" from "/".
std::string withoutTrailingSlashes(std::string url) {
  const auto endsWith = [&](const std::string& end) {
    return url.size() >= end.size() && url.compare(url.size() - end.size(), end.size(), end) == 0;
  };
  while (endsWith("/") && !endsWith("://"))
    url.pop_back();
  return url;
}

CommandLine wrongUsage(const std::string& problem) {
  return {CommandLine::Outcome::kWrongUsage, {}, printableLine(problem)};
}

}  // namespace

CommandLine parseCommandLine(int argumentCount, const char* const* arguments) {
  CommandLine line;
  Options& options = line.options;
  bool noProxy = false;
  bool quiet = false;
  bool verbose = false;
  std::string maxFileSize = kDefaultMaxFileSize;
  std::string maxTotalSize = kNoLimit;

  CLI::App app("Brings the local copy in DIR of the material library at URL up to date.",
               "mtlsync");
  app.allow_windows_style_options(false);
  app.set_help_flag("-h,--help", "Print this help and exit");
  app.set_version_flag("--version", "mtlsync " MTLSYNC_VERSION, "Print the version and exit");
  app.footer(kFooter);

  app.add_option("URL", options.url, "Address of the library")
      ->required()
      ->option_text(" ")
      ->check(notEmpty());
  app.add_option("DIR", options.directory, "Folder of the local copy; made if missing")
      ->required()
      ->option_text(" ")
      ->check(notEmpty());
  app.add_flag("--check", options.checkOnly, "Only tell whether an update exists");
  app.add_flag("--repair", options.repair,
               "Remove files of the wrong size, then fetch\nwhatever is missing");
  app.add_option("--sub-path", options.subPath, "Sub-path of the library")->type_name("PATH");
  app.add_option("--proxy", options.proxyAddress, "HTTP proxy HOST:PORT; the system's if not given")
      ->type_name("ADDRESS")
      ->check(notEmpty());
  app.add_flag("--no-proxy", noProxy, "Use no proxy");
  app.add_option("--max-file-size", maxFileSize, "Give up when a file is larger; 2G if not given")
      ->type_name("SIZE")
      ->check(isSize());
  app.add_option("--max-total-size", maxTotalSize,
                 "Give up when all files together are larger;\nno limit if not given")
      ->type_name("SIZE")
      ->check(isSize());
  app.add_flag("-q,--quiet", quiet, "Print errors only");
  app.add_flag("-v,--verbose", verbose, "Print every message");
  app.add_flag("--json", options.json, "Print events and result as JSON, one a line");
  app.add_option("--module", options.moduleFile,
                 "Plug-in to load; if not given, the one beside\n"
                 "the program, then the installed one")
      ->type_name("FILE")
      ->check(notEmpty());

  try {
    app.parse(argumentCount, arguments);
  } catch (const CLI::CallForHelp&) {
    return {CommandLine::Outcome::kShowText, {}, app.help()};
  } catch (const CLI::CallForVersion& version) {
    return {CommandLine::Outcome::kShowText, {}, std::string(version.what()) + '\n'};
  } catch (const CLI::Error& error) {
    return wrongUsage(error.what());
  }

  if (quiet && verbose) return wrongUsage("--quiet and --verbose exclude each other");
  if (options.checkOnly && options.repair) {
    return wrongUsage("--check and --repair exclude each other");
  }
  if (noProxy && !options.proxyAddress.empty()) {
    return wrongUsage("--proxy and --no-proxy exclude each other");
  }
  options.url = withoutTrailingSlashes(options.url);
  options.limits = {*parseSize(maxFileSize), *parseSize(maxTotalSize)};
  if (noProxy) options.proxyMode = PROXY_MODE_DISABLED;
  if (!options.proxyAddress.empty()) options.proxyMode = PROXY_MODE_EXPLICIT;
  if (quiet) options.verbosity = Verbosity::kQuiet;
  if (verbose) options.verbosity = Verbosity::kVerbose;
  return line;
}

}  // namespace mtlsync
