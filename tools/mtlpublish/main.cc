// mtlpublish: the publisher's side of a material library.
#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "common/console.h"
#include "common/quantity_text.h"
#include "common/system.h"
#include "mtlpublish/contained_path.h"
#include "mtlpublish/glob.h"
#include "mtlpublish/host_field.h"
#include "mtlpublish/publisher.h"
#include "mtlpublish/static_server.h"
#include "mtlpublish/system.h"
#include "mtlpublish/tree_scan.h"
#include "mtlpublish/verify.h"
#include "mtlpublish/whole_file.h"
#include "mtlpublish/work_progress.h"
#include "rules/list_entry.h"
#include "rules/own_names.h"
#include "rules/printable.h"

namespace {

namespace fs = std::filesystem;
using mtlpublish::Glob;

enum ExitStatus { kDone = 0, kFailed = 1, kWrongUsage = 2 };

constexpr const char* kFooter = R"(
Run mtlpublish COMMAND --help for the options of a command.

Exit status: 0 done, 1 failed or problems found, 2 wrong usage.

Examples:
  mtlpublish build library
  mtlpublish verify library
  mtlpublish serve --port 8080 library
  mtlpublish verify http://127.0.0.1:8080/)";

constexpr const char* kBuildFooter = R"(
GLOB, in options that may be repeated: * stands for any characters, ? for one,
[a-z] for one of these and [!a-z] for any other. A pattern without '/' matches
the file's name, with '/' the whole path below DIR; * matches '/' too. Quote
patterns, so that the shell does not expand them.

The list is DIR/filelist.json, the id, which tells clients that something has
changed, DIR/id.txt. DIR/.mtlpublish-cache spares the next build to read files
that have not changed. None of these is listed, nor is DIR/.mtlpublish-*.tmp.
No list and no id are written when there is a file that clients cannot fetch or
save. Only one build at a time may run on a folder.

Examples:
  mtlpublish build library
  mtlpublish build --lossy --missing 'previews/*' --never '*.psd' library)";

constexpr const char* kVerifyFooter = R"(
A library is all right when its id and its list are there, clients can read the
list, every system can hold the listed names, and each file that clients fetch
is there, of the listed size and content. Problems are printed one a line.

Certificates are checked as CURL_CA_BUNDLE, SSL_CERT_FILE and SSL_CERT_DIR say,
proxies used as http_proxy, https_proxy and no_proxy do.

Exit status: 0 all right, 1 problems found, 2 wrong usage.

Examples:
  mtlpublish verify library
  mtlpublish verify --quick https://materials.example/library)";

constexpr const char* kServeFooter = R"(
Prints the address on standard output, then a line for each request on standard
error: method, path, status, bytes, time. GLOB is as in mtlpublish build --help;
it is matched against the path below DIR.

Only requests for an IP address or for localhost are answered, so that no web
page can read the library through a name of its own. Where clients reach the
server by another name, through a tunnel, say, give that with --host-name.

Examples:
  mtlpublish serve --port 8080 library
  mtlpublish serve --delay 500 --fail 'maps/*' --fail id.txt library)";

struct Arguments {
  std::string folder;
  std::vector<std::string> missing;
  std::vector<std::string> never;
  bool lossy = false;
  bool noCache = false;
  bool quiet = false;
  bool verbose = false;
  std::string library;
  bool quick = false;
  int port = 0;
  int delay = 0;
  std::vector<std::string> fail;
  std::vector<std::string> hostNames;
};

void complain(const std::string& message) {
  std::cerr << "mtlpublish: " + mtlrules::printableLine(message) + '\n';
}

int refuseUsage(const std::string& message) {
  complain(message);
  std::cerr << "Run mtlpublish --help for more information.\n";
  return kWrongUsage;
}

std::string globProblem(const std::string& pattern) {
  std::string problem;
  if (Glob::parse(pattern, problem)) return {};
  return "pattern '" + pattern + "' " + problem;
}

std::string hostNameProblem(const std::string& name) {
  return mtlpublish::isHostName(name) ? "" : "'" + name + "' is not the name of a host";
}

/// Every pattern has passed globProblem.
std::vector<Glob> parsed(const std::vector<std::string>& patterns) {
  std::vector<Glob> globs;
  std::string problem;
  for (const std::string& pattern : patterns) {
    if (auto glob = Glob::parse(pattern, problem)) globs.push_back(*std::move(glob));
  }
  return globs;
}

std::string filesText(std::size_t count) {
  return std::to_string(count) + (count == 1 ? " file" : " files");
}

std::string bytesText(std::uint64_t count) {
  return common::bytesText(static_cast<std::int64_t>(count));
}

/// The status line of standard error, for people who look at it.
common::Console makeConsole(const Arguments& arguments) {
  constexpr auto kStream = common::OutputStream::kError;
  return {std::cerr, {!arguments.quiet && common::isTerminal(kStream), [] {
                        return common::terminalWidth(kStream);
                      }}};
}

void printChanges(const mtlpublish::PublishResult& result, bool names) {
  if (result.isFirst) {
    std::cout << "First build; clients fetch " << bytesText(result.bytesToFetch) << '\n';
    return;
  }
  if (!result.isNew) {
    std::cout << "Nothing has changed since the last build"
              << (result.isListRestored ? "; its list had, and is restored\n" : "\n");
    return;
  }
  if (!result.changes) return;
  const mtlpublish::ListChanges& changes = *result.changes;
  const auto printNames = [names](const char* what, const std::vector<std::string>& paths) {
    if (!names) return;
    for (const std::string& path : paths)
      std::cout << what << mtlrules::printable(path) << '\n';
  };
  printNames("added    ", changes.added);
  printNames("changed  ", changes.changed);
  printNames("removed  ", changes.removed);
  if (changes.isEmpty()) {
    // The original of a lossy map has, or there was no id.
    std::cout << "The id is new, though the list shows no change";
  } else {
    std::cout << changes.added.size() << " added, " << changes.changed.size() << " changed, "
              << changes.removed.size() << " removed";
  }
  std::cout << "; clients of the last build fetch " << bytesText(result.bytesToFetch) << '\n';
}

int build(const Arguments& arguments) {
  mtlpublish::PublishResult result;
  {
    common::Console console = makeConsole(arguments);
    mtlpublish::PublishOptions options;
    options.missing = parsed(arguments.missing);
    options.never = parsed(arguments.never);
    options.lossy = arguments.lossy;
    options.cache = !arguments.noCache;
    options.onProgress = mtlpublish::shownOn(console);
    result = mtlpublish::publish(fs::u8path(arguments.folder), options);
  }
  for (const std::string& warning : result.warnings) {
    if (!arguments.quiet) complain("warning: " + warning);
  }
  for (const std::string& problem : result.problems)
    complain(problem);
  if (!result.problems.empty()) return kFailed;
  if (arguments.quiet) return kDone;
  std::cout << filesText(result.files) << ", " << bytesText(result.bytes) << ", id "
            << result.id.substr(0, 8) << "…\n";
  printChanges(result, arguments.verbose);
  return kDone;
}

mtlpublish::VerifyResult verified(const Arguments& arguments) {
  common::Console console = makeConsole(arguments);
  const mtlpublish::VerifyOptions options{arguments.quick, mtlpublish::shownOn(console)};
  if (arguments.library.find("://") == arguments.library.npos) {
    return mtlpublish::verifyFolder(fs::u8path(arguments.library), options);
  }
  mtlupdate::SessionOptions session;
  session.address = arguments.library;
  session.userAgent = "mtlpublish/" MTLPUBLISH_VERSION;
  return mtlpublish::verifyAddress(session, options);
}

/// What of the files is as the list says.
std::string agreementText(const mtlpublish::VerifyResult& result, bool quick) {
  if (result.files == 0) return "as listed";
  const bool isOfSizes = quick || result.withoutDigest == result.files;
  std::string exceptions;
  if (!isOfSizes && result.withoutDigest > result.withoutSize) {
    const std::size_t count = result.withoutDigest - result.withoutSize;
    exceptions = "of " + std::to_string(count) + " only the size";
  }
  if (result.withoutSize > 0) {
    exceptions +=
        (exceptions.empty() ? "" : ", ") + std::to_string(result.withoutSize) + " without a size";
  }
  return (isOfSizes ? "sizes as listed" : "as listed") +
         (exceptions.empty() ? "" : " (" + exceptions + ")");
}

int verify(const Arguments& arguments) {
  const mtlpublish::VerifyResult result = verified(arguments);
  for (const std::string& problem : result.problems)
    std::cout << problem << '\n';
  if (!result.problems.empty()) return kFailed;
  if (arguments.quiet) return kDone;
  std::cout << filesText(result.files) << ", " << bytesText(result.bytes) << ", "
            << agreementText(result, arguments.quick) << '\n';
  return kDone;
}

/// Clients would find nothing to synchronise with.
void warnOfUnbuilt(const fs::path& root, const std::string& folder) {
  for (const char* name : {mtlrules::kListName, mtlrules::kStampName}) {
    std::error_code error;
    if (fs::exists(root / name, error) || error) continue;
    complain("warning: " + folder + " has no " + name + "; run mtlpublish build first");
    return;
  }
}

int serve(const Arguments& arguments) {
  std::error_code error;
  const fs::path root = mtlpublish::canonicalFolder(fs::u8path(arguments.folder), error);
  if (error) {
    complain(arguments.folder + ": " + mtlpublish::errorMessage(error));
    return kFailed;
  }
  mtlpublish::ServerOptions options;
  options.delay = std::chrono::milliseconds(arguments.delay);
  options.fail = parsed(arguments.fail);
  options.hostNames = arguments.hostNames;
  if (!arguments.quiet) options.log = [](const std::string& line) { std::cerr << line + '\n'; };
  mtlpublish::StaticServer server(root, std::move(options));
  if (!server.listen(arguments.port)) {
    complain("cannot listen on port " + std::to_string(arguments.port) +
             ": it is in use, or not for you to use");
    return kFailed;
  }
  if (!arguments.quiet) warnOfUnbuilt(root, arguments.folder);
  // Transfers under way and idle connections need no care.
  mtlpublish::endWhenInterrupted();
  std::cout << "Serving " << mtlrules::printable(arguments.folder) << " at " << server.address()
            << std::endl;
  server.run();
  complain("can accept no more connections");
  return kFailed;
}

/// Told when it is left, not in the help.
CLI::Validator range(int least, int most) {
  CLI::Validator validator = CLI::Range(least, most);
  return validator.description("");
}

void addPlace(CLI::App* command, const char* name, std::string& place, const char* help) {
  const auto emptiness = [](const std::string& text) {
    return std::string(text.empty() ? "must not be empty" : "");
  };
  command->add_option(name, place, help)
      ->required()
      ->option_text(" ")
      ->check(CLI::Validator(emptiness, "", "place"));
}

void addGlobs(CLI::App* command, const char* name, std::vector<std::string>& patterns,
              const char* help) {
  command->add_option(name, patterns, help)
      ->type_name("GLOB")
      ->option_text("GLOB")  // Without dots, as if more than one might follow.
      ->allow_extra_args(false)
      ->check(CLI::Validator(globProblem, "", "glob"));
}

CLI::App* addBuild(CLI::App& app, Arguments& arguments) {
  CLI::App* command =
      app.add_subcommand("build", "Write the list of the files in DIR, and a new id");
  addPlace(command, "DIR", arguments.folder, "Folder to publish");
  addGlobs(command, "--missing", arguments.missing,
           "Files that clients fetch only if they lack them");
  addGlobs(command, "--never", arguments.never, "Files that clients never fetch, --missing or not");
  command->add_flag("--lossy", arguments.lossy, "Clients fetch x.jpeg.tx, where it is, for x.tx");
  command->add_flag("--no-cache", arguments.noCache, "Read every file again, and keep no cache");
  command->add_flag("-q,--quiet", arguments.quiet, "Print errors only");
  command->add_flag("-v,--verbose", arguments.verbose, "Name what was added, changed and removed");
  command->footer(kBuildFooter);
  return command;
}

CLI::App* addVerify(CLI::App& app, Arguments& arguments) {
  CLI::App* command =
      app.add_subcommand("verify", "Check the library at URL or in DIR as clients do");
  addPlace(command, "URL|DIR", arguments.library, "Library; a URL begins with http:// or https://");
  command->add_flag("--quick", arguments.quick, "Compare sizes only; from a URL, fetch no file");
  command->add_flag("-q,--quiet", arguments.quiet, "Print problems only");
  command->footer(kVerifyFooter);
  return command;
}

CLI::App* addServe(CLI::App& app, Arguments& arguments) {
  CLI::App* command =
      app.add_subcommand("serve", "Serve DIR on this computer alone, for trying out");
  addPlace(command, "DIR", arguments.folder, "Folder to serve");
  command->add_option("--port", arguments.port, "Port to listen on; a free one if not given")
      ->type_name("N")
      ->check(range(0, 65535));
  command->add_option("--delay", arguments.delay, "Milliseconds that every answer waits")
      ->type_name("MS")
      ->check(range(0, 3'600'000));
  addGlobs(command, "--fail", arguments.fail, "Files whose requests fail with status 503");
  command->add_option("--host-name", arguments.hostNames, "Answer requests for this host, too")
      ->type_name("NAME")
      ->option_text("NAME")
      ->allow_extra_args(false)
      ->check(CLI::Validator(hostNameProblem, "", "host name"));
  command->add_flag("-q,--quiet", arguments.quiet, "Log no requests");
  command->footer(kServeFooter);
  return command;
}

int run(const common::Arguments& given) {
  Arguments arguments;
  CLI::App app("Publishes a folder as a material library, checks it and serves it.", "mtlpublish");
  app.allow_windows_style_options(false);
  app.set_version_flag("--version", "mtlpublish " MTLPUBLISH_VERSION, "Print the version and exit");
  app.set_help_flag("-h,--help", "Print this help and exit");
  // None is told apart from an unknown one below.
  app.require_subcommand(0, 1);
  app.footer(kFooter);
  const CLI::App* buildCommand = addBuild(app, arguments);
  const CLI::App* verifyCommand = addVerify(app, arguments);
  const CLI::App* serveCommand = addServe(app, arguments);

  try {
    app.parse(given.count(), given.values());
  } catch (const CLI::Success& request) {
    return app.exit(request);
  } catch (const CLI::ParseError& error) {
    return refuseUsage(error.what());
  }
  if (arguments.quiet && arguments.verbose) {
    return refuseUsage("--quiet and --verbose exclude each other");
  }
  if (buildCommand->parsed()) return build(arguments);
  if (verifyCommand->parsed()) return verify(arguments);
  if (serveCommand->parsed()) return serve(arguments);
  return refuseUsage("a command is needed: build, verify or serve");
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const common::StandardStreams streams;
    const int status = run(common::Arguments(argc, argv));
    if (std::cout.flush()) return status;
    complain("could not write to standard output");
    return status == kDone ? kFailed : status;
  } catch (const std::exception& error) {
    complain(error.what());
    return kFailed;
  }
}
