// The command "mtlpublish build", which writes a library's list and stamp.
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "mtlpublish/commands/command_line.h"
#include "mtlpublish/commands/commands.h"
#include "mtlpublish/commands/library_arguments.h"
#include "mtlpublish/commands/publish_report.h"
#include "mtlpublish/commands/signing_arguments.h"
#include "mtlpublish/library_config.h"
#include "mtlpublish/publisher.h"
#include "signing/release_comment.h"

namespace mtlpublish {

namespace {

constexpr const char* kBuildFooter =
    R"(GLOB: * stands for any characters, ? for one, [a-z] for one of these, [!a-z] for
others. Without '/' it matches a file's name, with '/' the path below DIR. KIND:
windows-names, same-names, long-paths, unused-entries, changed-missing. Options
with GLOB, KIND or URL may be repeated.

Examples:
  mtlpublish build --missing 'previews/*' --sign oak.key --name oak library)";

struct BuildArguments {
  LibraryArguments library;
  SigningArguments signing;
};

int build(const BuildArguments& arguments) {
  const std::optional<LibraryConfig> config = readConfig(arguments.library);
  if (!config) return kFailed;
  std::string problem = contradictionIn(arguments.library);
  if (problem.empty()) problem = contradictionIn(arguments.signing, *config);
  if (problem.empty() && arguments.signing.prepare && arguments.library.json) {
    problem = "--prepare and --json exclude each other";
  }
  if (problem.empty() && arguments.signing.prepare && !config->views.empty()) {
    problem = "--prepare prints the comment of one list, and the library has views";
  }
  if (!problem.empty()) return refuseUsage(problem);
  PublishOptions options = publishOptions(arguments.library, *config);
  if (!setSigning(arguments.signing, *config, arguments.library.folder, options.signing))
    return kFailed;
  const PublishResult result = publishShown(arguments.library, std::move(options));
  if (!arguments.signing.prepare) return reportPublishing(result, arguments.library);
  // The comment is for a shell to hand on, and nothing else.
  const int status = reportProblems(result, arguments.library);
  if (status == kDone) std::cout << mtlsigning::commentText(*result.release) << '\n';
  return status;
}

}  // namespace

Command addBuildCommand(CLI::App& program) {
  const auto arguments = std::make_shared<BuildArguments>();
  CLI::App* command =
      program.add_subcommand("build", "Write the list and the id that clients read");
  addLibraryOptions(command, arguments->library);
  addSigningOptions(command, arguments->signing);
  command->footer(kBuildFooter);
  return {command, [arguments] { return build(*arguments); }};
}

}  // namespace mtlpublish
