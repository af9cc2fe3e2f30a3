// Adds the options of library_arguments.h to a command, and reads the configuration.
#include "mtlpublish/commands/library_arguments.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "mtlpublish/commands/command_line.h"
#include "mtlpublish/system.h"
#include "mtlpublish/tree_scan.h"
#include "mtlpublish/whole_file.h"

namespace mtlpublish {

namespace {

namespace fs = std::filesystem;

std::string kindProblem(const std::string& word) {
  ListingOptions ignored;
  return allow(word, ignored) ? "" : "'" + word + "' is not " + kKinds;
}

fs::path configFile(const LibraryArguments& arguments) {
  return arguments.config.empty() ? fs::u8path(arguments.folder) / kConfigName
                                  : fs::u8path(arguments.config);
}

void addPatterns(const std::vector<std::string>& patterns, std::vector<Glob>& globs) {
  for (Glob& glob : parsed(patterns))
    globs.push_back(std::move(glob));
}

}  // namespace

void addConfigOption(CLI::App* command, LibraryArguments& arguments) {
  addText(command, "--config", "FILE", arguments.config,
          "Configuration file; DIR/library.toml if not given");
}

void addLibraryOptions(CLI::App* command, LibraryArguments& arguments) {
  addPlace(command, "DIR", arguments.folder, "Folder to publish");
  addConfigOption(command, arguments);
  addGlobs(command, "--missing", arguments.missing,
           "Clients fetch these only if they do not have them");
  addGlobs(command, "--never", arguments.never, "Clients never fetch these, even with --missing");
  addGlobs(command, "--exclude", arguments.exclude, "Do not publish these files and folders");
  addGlobs(command, "--include", arguments.include,
           "Publish these, although left out by default (.x, *~)");
  command->add_flag("--lossy", arguments.lossy,
                    "Clients fetch x.jpeg.tx, if it is there, for x.tx");
  addTexts(command, "--allow", "KIND", arguments.allow,
           "Publish files that some clients cannot store or fetch")
      ->check(CLI::Validator(kindProblem, "", "kind"));
  addTexts(command, "--mirror", "URL", arguments.mirrors,
           "Another address of the library, if that is signed")
      ->check(CLI::Validator(
          [](const std::string& address) {
            const std::string problem = mirrorProblem(address);
            return problem.empty() ? problem : "'" + address + "' " + problem;
          },
          "", "mirror"));
  command->add_flag("--no-cache", arguments.noCache, "Read every file again, and store no digests");
  command->add_flag("--json", arguments.json, "Print the result as one JSON object");
  command->add_flag("-q,--quiet", arguments.quiet, "Print errors only");
  command->add_flag("-v,--verbose", arguments.verbose,
                    "Also print what has changed, and what is skipped");
}

std::string contradictionIn(const LibraryArguments& arguments) {
  if (arguments.quiet && arguments.verbose) return "--quiet and --verbose exclude each other";
  return "";
}

std::optional<LibraryConfig> readConfig(const LibraryArguments& arguments) {
  const fs::path file = configFile(arguments);
  std::string text;
  const std::error_code error = readContent(file, text, kLongestConfig + 1);
  // A library needs none; one that was named is meant to be there. Of a folder that is none,
  // whoever uses it says so.
  std::error_code ignored;
  const bool isThere = error != std::errc::no_such_file_or_directory &&
                       fs::is_directory(fs::u8path(arguments.folder), ignored);
  if (!isThere && arguments.config.empty()) return LibraryConfig();
  std::vector<std::string> problems;
  std::optional<LibraryConfig> config;
  if (error) {
    problems.push_back(file.u8string() + ": cannot be read: " + errorMessage(error));
  } else {
    config = parseConfig(text, file, problems);
  }
  for (const std::string& problem : problems)
    complain(problem);
  return config;
}

PublishOptions publishOptions(const LibraryArguments& arguments, const LibraryConfig& config) {
  PublishOptions options;
  static_cast<ListingOptions&>(options) = config.listing;
  addPatterns(arguments.exclude, options.selection.exclude);
  addPatterns(arguments.include, options.selection.include);
  std::error_code ignored;
  if (!arguments.config.empty()) {
    options.selection.config = canonicalPath(configFile(arguments), ignored);
  }
  options.missing = parsed(arguments.missing);
  options.never = parsed(arguments.never);
  options.lossy = options.lossy || arguments.lossy;
  for (const std::string& kind : arguments.allow)
    allow(kind, options);
  options.views = config.views;
  options.address = config.address;
  if (!arguments.mirrors.empty()) options.mirrors = arguments.mirrors;
  options.keep = static_cast<std::size_t>(config.keep);
  options.differences = static_cast<std::size_t>(config.differences);
  options.cache = !arguments.noCache;
  return options;
}

}  // namespace mtlpublish
