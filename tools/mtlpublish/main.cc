// mtlpublish: the publisher's side of a material library.
#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <iostream>
#include <optional>
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
#include "mtlpublish/key_files.h"
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
#include "signing/release_comment.h"

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
changed, or the list's signature, DIR/id.txt. See the manual page for the rest.

Examples:
  mtlpublish build --lossy --missing 'previews/*' --never '*.psd' library
  mtlpublish build --sign oak.key --name oak library)";

constexpr const char* kKeygenFooter = R"(
The keys are as minisign makes them. NAME.key is secret, and encrypted with the
password. Clients are given what is in NAME.pub.

Examples:
  mtlpublish keygen oak
  mtlpublish keygen --no-password oak)";

constexpr const char* kVerifyFooter = R"(
A library is all right when its id and its list are there, clients can read the
list, every system can hold the listed names, and each file that clients fetch
is there, of the listed size and content; with --key, which may be repeated, if
one of the keys signed all of it. Problems are printed one a line.

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
  std::string keyFile;
  bool prepare = false;
  bool noSign = false;
  std::string name;
  std::optional<std::string> subPath;
  int expires = 0;
  mtlpublish::PasswordSource password;
  bool quick = false;
  std::vector<std::string> keys;
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
    std::cout << (result.release ? "The signature" : "The id")
              << " is new, though the list shows no change";
  } else {
    std::cout << changes.added.size() << " added, " << changes.changed.size() << " changed, "
              << changes.removed.size() << " removed";
  }
  std::cout << "; clients of the last build fetch " << bytesText(result.bytesToFetch) << '\n';
}

/// False when there is no key to sign with, which has been said then.
bool setSigning(const Arguments& arguments, mtlpublish::SigningOptions& signing) {
  using Way = mtlpublish::SigningOptions::Way;
  signing.library = arguments.name;
  signing.subPath = arguments.subPath;
  if (arguments.expires > 0) signing.life = std::chrono::hours(24) * arguments.expires;
  if (arguments.noSign) signing.way = Way::kNone;
  if (arguments.prepare) signing.way = Way::kElsewhere;
  if (arguments.keyFile.empty()) return true;
  signing.way = Way::kKey;
  std::string problem;
  signing.key =
      mtlpublish::readSecretKey(arguments.keyFile, arguments.password, arguments.folder, problem);
  if (!signing.key) complain(problem);
  return signing.key.has_value();
}

int build(const Arguments& arguments) {
  mtlpublish::PublishResult result;
  mtlpublish::SigningOptions signing;
  if (!setSigning(arguments, signing)) return kFailed;
  {
    common::Console console = makeConsole(arguments);
    mtlpublish::PublishOptions options;
    options.missing = parsed(arguments.missing);
    options.never = parsed(arguments.never);
    options.lossy = arguments.lossy;
    options.cache = !arguments.noCache;
    options.signing = std::move(signing);
    options.onProgress = mtlpublish::shownOn(console);
    result = mtlpublish::publish(fs::u8path(arguments.folder), options);
  }
  for (const std::string& warning : result.warnings) {
    if (!arguments.quiet) complain("warning: " + warning);
  }
  for (const std::string& problem : result.problems)
    complain(problem);
  if (!result.problems.empty()) return kFailed;
  if (arguments.prepare) {
    // For a shell to hand on, and nothing else.
    std::cout << mtlsigning::commentText(*result.release) << '\n';
    return kDone;
  }
  if (arguments.quiet) return kDone;
  std::cout << filesText(result.files) << ", " << bytesText(result.bytes) << ", ";
  if (result.release) {
    std::cout << "serial " << result.release->serial << '\n';
  } else {
    std::cout << "id " << result.id.substr(0, 8) << "…\n";
  }
  printChanges(result, arguments.verbose);
  return kDone;
}

int keygen(const Arguments& arguments) {
  mtlsigning::PublicKey key;
  const std::string problem = mtlpublish::makeKeyPair(arguments.name, arguments.password, key);
  if (!problem.empty()) {
    complain(problem);
    return kFailed;
  }
  if (arguments.password.isNone) {
    complain("warning: " + arguments.name +
             ".key has no password: whoever reads it can sign in your name");
  }
  std::cout << "Wrote " << mtlrules::printable(arguments.name) << ".key, which is secret, and "
            << mtlrules::printable(arguments.name) << ".pub\nPublic key "
            << mtlsigning::publicKeyText(key) << '\n';
  return kDone;
}

mtlpublish::VerifyResult verified(const Arguments& arguments,
                                  std::vector<mtlsigning::PublicKey> keys) {
  common::Console console = makeConsole(arguments);
  const mtlpublish::VerifyOptions options{arguments.quick, std::move(keys),
                                          mtlpublish::shownOn(console)};
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
  std::vector<mtlsigning::PublicKey> keys;
  for (const std::string& text : arguments.keys) {
    std::string problem;
    const auto key = mtlpublish::readPublicKey(text, problem);
    if (!key) {
      complain(problem);
      return kWrongUsage;
    }
    keys.push_back(*key);
  }
  const mtlpublish::VerifyResult result = verified(arguments, std::move(keys));
  for (const std::string& problem : result.problems)
    std::cout << problem << '\n';
  if (!result.problems.empty()) return kFailed;
  if (arguments.quiet) return kDone;
  std::cout << filesText(result.files) << ", " << bytesText(result.bytes) << ", "
            << agreementText(result, arguments.quick) << '\n';
  if (!result.signature.empty()) std::cout << result.signature << '\n';
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

std::string libraryNameProblem(const std::string& name) {
  return mtlsigning::isLibraryName(name) ? ""
                                         : "'" + name +
                                               "' is not a name for a library: 1 to 100 bytes, all "
                                               "visible, without ';'";
}

std::string subPathProblem(const std::string& path) {
  return mtlsigning::isSignableSubPath(path) ? ""
                                             : "'" + path + "' is not the way to write a sub-path";
}

void addPasswordFile(CLI::App* command, Arguments& arguments) {
  command
      ->add_option("--password-file", arguments.password.file,
                   "Read the password from FILE, - for standard input")
      ->type_name("FILE")
      ->option_text("FILE");
}

void addSigning(CLI::App* command, Arguments& arguments) {
  command->add_option("--sign", arguments.keyFile, "Sign the list with the secret key in KEYFILE")
      ->type_name("KEYFILE")
      ->option_text("KEYFILE");
  command->add_flag("--prepare", arguments.prepare,
                    "Print the comment to sign the list with elsewhere");
  command->add_flag("--no-sign", arguments.noSign, "Do not sign a library that was signed before");
  command->add_option("--name", arguments.name, "The library's name; later builds keep it")
      ->type_name("NAME")
      ->option_text("NAME")
      ->check(CLI::Validator(libraryNameProblem, "", "library name"));
  command
      ->add_option("--sub-path", arguments.subPath,
                   "Sub-path that clients give; later builds keep it")
      ->type_name("PATH")
      ->option_text("PATH")
      ->check(CLI::Validator(subPathProblem, "", "sub-path"));
  command->add_option("--expires", arguments.expires, "Days for which clients accept the signature")
      ->type_name("DAYS")
      ->check(range(1, 3650));
  addPasswordFile(command, arguments);
}

CLI::App* addKeygen(CLI::App& app, Arguments& arguments) {
  CLI::App* command = app.add_subcommand("keygen", "Make a pair of keys to sign libraries with");
  addPlace(command, "NAME", arguments.name, "What the files are called, without .key and .pub");
  addPasswordFile(command, arguments);
  command->add_flag("--no-password", arguments.password.isNone, "Do not encrypt the secret key");
  command->footer(kKeygenFooter);
  return command;
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
  addSigning(command, arguments);
  command->footer(kBuildFooter);
  return command;
}

CLI::App* addVerify(CLI::App& app, Arguments& arguments) {
  CLI::App* command =
      app.add_subcommand("verify", "Check the library at URL or in DIR as clients do");
  addPlace(command, "URL|DIR", arguments.library, "Library; a URL begins with http:// or https://");
  command->add_flag("--quick", arguments.quick, "Compare sizes only; from a URL, fetch no file");
  command->add_option("--key", arguments.keys, "Public key, or file of one, that may have signed")
      ->type_name("KEY|FILE")
      ->option_text("KEY|FILE")
      ->allow_extra_args(false);
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
  const CLI::App* keygenCommand = addKeygen(app, arguments);
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
  if ((arguments.keyFile.empty() ? 0 : 1) + (arguments.prepare ? 1 : 0) +
          (arguments.noSign ? 1 : 0) >
      1) {
    return refuseUsage("--sign, --prepare and --no-sign exclude each other");
  }
  const bool isSigned = !arguments.keyFile.empty() || arguments.prepare;
  if (buildCommand->parsed() && !isSigned &&
      (!arguments.name.empty() || arguments.subPath || arguments.expires > 0)) {
    return refuseUsage("--name, --sub-path and --expires need --sign or --prepare");
  }
  if (keygenCommand->parsed()) return keygen(arguments);
  if (buildCommand->parsed()) return build(arguments);
  if (verifyCommand->parsed()) return verify(arguments);
  if (serveCommand->parsed()) return serve(arguments);
  return refuseUsage("a command is needed: build, keygen, verify or serve");
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
