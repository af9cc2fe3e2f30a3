// The command "mtlpublish diff", which says what a build would publish, and what that costs
// clients.
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "mtlpublish/commands/command_line.h"
#include "mtlpublish/commands/commands.h"
#include "mtlpublish/commands/library_arguments.h"
#include "mtlpublish/commands/publish_report.h"
#include "mtlpublish/library_config.h"
#include "mtlpublish/publisher.h"

namespace mtlpublish {

namespace {

constexpr const char* kDiffFooter =
    R"(Give the options of the build. Nothing is written, and no key is needed. The
bytes that clients fetch are counted without headers: clients of the kit fetch
what has changed, those of the module everything that is not --missing.
For GLOB and KIND, see mtlpublish build --help.

Examples:
  mtlpublish diff --missing 'previews/*' library
  mtlpublish diff --json library | jq .byModule.bytes)";

int diff(const LibraryArguments& arguments) {
  if (const std::string problem = contradictionIn(arguments); !problem.empty()) {
    return refuseUsage(problem);
  }
  const std::optional<LibraryConfig> config = readConfig(arguments);
  if (!config) return kFailed;
  PublishOptions options = publishOptions(arguments, *config);
  options.signing.subPath = config->subPath;
  options.isTrial = true;
  return reportPublishing(publishShown(arguments, std::move(options)), arguments);
}

}  // namespace

Command addDiffCommand(CLI::App& program) {
  const auto arguments = std::make_shared<LibraryArguments>();
  CLI::App* command = program.add_subcommand("diff", "Show what a build of DIR would change");
  addLibraryOptions(command, *arguments);
  command->footer(kDiffFooter);
  return {command, [arguments] { return diff(*arguments); }};
}

}  // namespace mtlpublish
