// mtlpublish build: writes a library's list and stamp.
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "mtlpublish/commands/command_line.h"
#include "mtlpublish/commands/commands.h"
#include "mtlpublish/key_files.h"
#include "mtlpublish/publisher.h"
#include "mtlpublish/work_progress.h"
#include "rules/printable.h"
#include "rules/published_names.h"
#include "signing/release_comment.h"

namespace mtlpublish {

namespace {

namespace fs = std::filesystem;

constexpr const char* kBuildFooter = R"(
GLOB, in options that may be repeated: * stands for any characters, ? for one,
[a-z] for one of these and [!a-z] for any other. Without '/' it matches the name
of a file, with '/' the path below DIR, where * matches '/' too. Quote patterns,
so that the shell does not expand them. The manual page has the rest.

Examples:
  mtlpublish build --lossy --missing 'previews/*' --never '*.psd' library
  mtlpublish build --sign oak.key --name oak library)";

struct BuildArguments {
  std::string folder;
  std::vector<std::string> exclude;
  std::vector<std::string> include;
  std::vector<std::string> missing;
  std::vector<std::string> never;
  bool lossy = false;
  std::vector<std::string> allow;
  bool noCache = false;
  bool quiet = false;
  bool verbose = false;
  std::string keyFile;
  bool prepare = false;
  bool noSign = false;
  std::string name;
  std::optional<std::string> subPath;
  int expires = 0;
  PasswordSource password;
};

/// "" when the options go together.
std::string contradictionIn(const BuildArguments& arguments) {
  if (arguments.quiet && arguments.verbose) return "--quiet and --verbose exclude each other";
  const bool hasKey = !arguments.keyFile.empty();
  if ((hasKey ? 1 : 0) + (arguments.prepare ? 1 : 0) + (arguments.noSign ? 1 : 0) > 1) {
    return "--sign, --prepare and --no-sign exclude each other";
  }
  const bool describesRelease =
      !arguments.name.empty() || arguments.subPath || arguments.expires > 0;
  return describesRelease && !hasKey && !arguments.prepare
             ? "--name, --sub-path and --expires need --sign or --prepare"
             : "";
}

/// False when there is no key to sign with, which has been said then.
bool setSigning(const BuildArguments& arguments, SigningOptions& signing) {
  using Way = SigningOptions::Way;
  signing.library = arguments.name;
  signing.subPath = arguments.subPath;
  if (arguments.expires > 0) signing.life = std::chrono::hours(24) * arguments.expires;
  if (arguments.noSign) signing.way = Way::kNone;
  if (arguments.prepare) signing.way = Way::kElsewhere;
  if (arguments.keyFile.empty()) return true;
  signing.way = Way::kKey;
  std::string problem;
  signing.key = readSecretKey(arguments.keyFile, arguments.password, arguments.folder, problem);
  if (!signing.key) complain(problem);
  return signing.key.has_value();
}

void printChanges(const PublishResult& result, bool names) {
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
  const ListChanges& changes = *result.changes;
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

void printPassedOver(const std::vector<std::string>& paths, bool names) {
  if (paths.empty()) return;
  std::size_t folders = 0;
  for (const std::string& path : paths) {
    if (names) std::cout << "passed over  " << mtlrules::printable(path) << '\n';
    if (path.back() == '/') ++folders;
  }
  std::cout << "Passed over " << filesText(paths.size() - folders) << " and " << folders
            << (folders == 1 ? " folder" : " folders") << (names ? "\n" : "; -v names them\n");
}

void printResult(const PublishResult& result, const BuildArguments& arguments) {
  if (arguments.prepare) {
    // For a shell to hand on, and nothing else.
    std::cout << mtlsigning::commentText(*result.release) << '\n';
    return;
  }
  if (arguments.quiet) return;
  std::cout << filesText(result.files) << ", " << bytesText(result.bytes) << ", ";
  if (result.release) {
    std::cout << "serial " << result.release->serial << '\n';
  } else {
    std::cout << "id " << result.id.substr(0, 8) << "…\n";
  }
  printPassedOver(result.passedOver, arguments.verbose);
  printChanges(result, arguments.verbose);
}

PublishResult published(const BuildArguments& arguments, SigningOptions signing) {
  common::Console console = makeConsole(arguments.quiet);
  PublishOptions options;
  options.selection = {parsed(arguments.exclude), parsed(arguments.include)};
  options.missing = parsed(arguments.missing);
  options.never = parsed(arguments.never);
  options.lossy = arguments.lossy;
  for (const std::string& word : arguments.allow) {
    if (const auto fault = mtlrules::faultNamed(word)) options.allowed.insert(*fault);
  }
  options.cache = !arguments.noCache;
  options.signing = std::move(signing);
  options.onProgress = shownOn(console);
  return publish(fs::u8path(arguments.folder), options);
}

int build(const BuildArguments& arguments) {
  if (const std::string problem = contradictionIn(arguments); !problem.empty()) {
    return refuseUsage(problem);
  }
  SigningOptions signing;
  if (!setSigning(arguments, signing)) return kFailed;
  const PublishResult result = published(arguments, std::move(signing));
  for (const std::string& warning : result.warnings) {
    if (!arguments.quiet) complain("warning: " + warning);
  }
  for (const std::string& problem : result.problems)
    complain(problem);
  if (!result.problems.empty()) return kFailed;
  printResult(result, arguments);
  return kDone;
}

std::string kindProblem(const std::string& word) {
  return mtlrules::faultNamed(word)
             ? ""
             : "'" + word + "' is not windows-names, same-names, long-paths or unused-entries";
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

void addSigning(CLI::App* command, BuildArguments& arguments) {
  addText(command, "--sign", "KEYFILE", arguments.keyFile,
          "Sign the list with the secret key in KEYFILE");
  command->add_flag("--prepare", arguments.prepare,
                    "Print the comment to sign the list with elsewhere");
  command->add_flag("--no-sign", arguments.noSign, "Do not sign a library that was signed before");
  addText(command, "--name", "NAME", arguments.name, "The library's name; later builds keep it")
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
  addPasswordFile(command, arguments.password.file);
}

}  // namespace

Command addBuildCommand(CLI::App& program) {
  const auto arguments = std::make_shared<BuildArguments>();
  CLI::App* command =
      program.add_subcommand("build", "Write the list of the files in DIR, and a new id");
  addPlace(command, "DIR", arguments->folder, "Folder to publish");
  addGlobs(command, "--missing", arguments->missing,
           "Files that clients fetch only if they lack them");
  addGlobs(command, "--never", arguments->never,
           "Files that clients never fetch, --missing or not");
  addGlobs(command, "--exclude", arguments->exclude, "Files and folders that are not published");
  addGlobs(command, "--include", arguments->include, "Files and folders to publish all the same");
  command->add_flag("--lossy", arguments->lossy, "Clients fetch x.jpeg.tx, where it is, for x.tx");
  addTexts(command, "--allow", "KIND", arguments->allow,
           "Publish what some client cannot take, by kind")
      ->check(CLI::Validator(kindProblem, "", "kind"));
  command->add_flag("--no-cache", arguments->noCache, "Read every file again, and keep no cache");
  command->add_flag("-q,--quiet", arguments->quiet, "Print errors only");
  command->add_flag("-v,--verbose", arguments->verbose,
                    "Name what has changed, and what was passed over");
  addSigning(command, *arguments);
  command->footer(kBuildFooter);
  return {command, [arguments] { return build(*arguments); }};
}

}  // namespace mtlpublish
