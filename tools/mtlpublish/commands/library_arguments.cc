#include "mtlpublish/commands/library_arguments.h"

#include "mtlpublish/commands/command_line.h"
#include "rules/published_names.h"

namespace mtlpublish {

namespace {

/// Beside those of names.
constexpr const char* kChangedMissing = "changed-missing";

std::string kindProblem(const std::string& word) {
  if (word == kChangedMissing || mtlrules::faultNamed(word)) return {};
  return "'" + word +
         "' is not windows-names, same-names, long-paths, unused-entries or changed-missing";
}

}  // namespace

void addLibraryOptions(CLI::App* command, LibraryArguments& arguments) {
  addPlace(command, "DIR", arguments.folder, "Folder to publish");
  addGlobs(command, "--missing", arguments.missing,
           "Files that clients fetch only if they lack them");
  addGlobs(command, "--never", arguments.never, "Files that clients never fetch, --missing or not");
  addGlobs(command, "--exclude", arguments.exclude, "Files and folders that are not published");
  addGlobs(command, "--include", arguments.include, "Files and folders to publish all the same");
  command->add_flag("--lossy", arguments.lossy, "Clients fetch x.jpeg.tx, where it is, for x.tx");
  addTexts(command, "--allow", "KIND", arguments.allow,
           "Publish what some client cannot take, by kind")
      ->check(CLI::Validator(kindProblem, "", "kind"));
  command->add_flag("--no-cache", arguments.noCache, "Read every file again, and keep no cache");
  command->add_flag("--json", arguments.json, "Print one JSON object and nothing else");
  command->add_flag("-q,--quiet", arguments.quiet, "Print errors only");
  command->add_flag("-v,--verbose", arguments.verbose,
                    "Name what has changed, and what was passed over");
}

std::string contradictionIn(const LibraryArguments& arguments) {
  if (arguments.quiet && arguments.verbose) return "--quiet and --verbose exclude each other";
  return "";
}

PublishOptions publishOptions(const LibraryArguments& arguments) {
  PublishOptions options;
  options.selection = {parsed(arguments.exclude), parsed(arguments.include)};
  options.missing = parsed(arguments.missing);
  options.never = parsed(arguments.never);
  options.lossy = arguments.lossy;
  for (const std::string& word : arguments.allow) {
    if (const auto fault = mtlrules::faultNamed(word)) options.allowed.insert(*fault);
    if (word == kChangedMissing) options.allowsChangedMissing = true;
  }
  options.cache = !arguments.noCache;
  return options;
}

}  // namespace mtlpublish
