// The command "mtlpublish rollback", which publishes the build before the last one again.
#include "mtlpublish/rollback.h"

#include <chrono>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "mtlpublish/commands/command_line.h"
#include "mtlpublish/commands/commands.h"
#include "mtlpublish/commands/library_arguments.h"
#include "mtlpublish/commands/signing_arguments.h"
#include "signing/release_comment.h"

namespace mtlpublish {

namespace {

namespace fs = std::filesystem;

constexpr const char* kRollbackFooter =
    R"(This needs builds that were kept: set keep = N in library.toml, the number of
builds. Files that the last build changed get their former contents, those that
it added are removed, and the earlier list is published with a new id or serial.
Nothing is changed if a file has changed since the last build.

Examples:
  mtlpublish rollback library
  mtlpublish rollback --sign oak.key library)";

struct RollbackArguments {
  LibraryArguments library;
  SigningArguments signing;
};

int runRollback(const RollbackArguments& arguments) {
  const std::optional<LibraryConfig> config = readConfig(arguments.library);
  if (!config) return kFailed;
  if (const std::string problem = contradictionIn(arguments.signing, *config); !problem.empty()) {
    return refuseUsage(problem);
  }
  const std::string& folder = arguments.library.folder;
  SigningOptions signing;
  if (!setSigning(arguments.signing, *config, folder, signing)) return kFailed;
  const RollbackResult result =
      rollback(fs::u8path(folder), signing, static_cast<std::size_t>(config->differences),
               std::chrono::system_clock::now());
  for (const std::string& problem : result.problems)
    complain(problem);
  if (!result.problems.empty()) return kFailed;
  if (arguments.signing.prepare) {
    std::cout << mtlsigning::commentText(*result.release) << '\n';
    return kDone;
  }
  std::cout << "Published the build before";
  if (result.release) {
    std::cout << ", serial " << result.release->serial;
  } else {
    std::cout << ", id " << result.id.substr(0, 8) << "…";
  }
  std::cout << '\n'
            << filesText(result.placed)
            << (result.placed == 1 ? " has its former content, " : " have their former content, ")
            << filesText(result.removed) << " removed\n";
  return kDone;
}

}  // namespace

Command addRollbackCommand(CLI::App& program) {
  const auto arguments = std::make_shared<RollbackArguments>();
  CLI::App* command =
      program.add_subcommand("rollback", "Publish the build before the last one again");
  addPlace(command, "DIR", arguments->library.folder, "Folder of the library");
  addConfigOption(command, arguments->library);
  addSigningOptions(command, arguments->signing);
  command->footer(kRollbackFooter);
  return {command, [arguments] { return runRollback(*arguments); }};
}

}  // namespace mtlpublish
