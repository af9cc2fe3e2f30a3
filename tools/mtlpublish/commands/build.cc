// mtlpublish build: writes a library's list and stamp.
#include <chrono>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "mtlpublish/commands/command_line.h"
#include "mtlpublish/commands/commands.h"
#include "mtlpublish/commands/library_arguments.h"
#include "mtlpublish/commands/publish_report.h"
#include "mtlpublish/key_files.h"
#include "mtlpublish/library_config.h"
#include "mtlpublish/publisher.h"
#include "signing/release_comment.h"

namespace mtlpublish {

namespace {

constexpr const char* kBuildFooter = R"(
GLOB, in options that may be repeated: * stands for any characters, ? for one,
[a-z] for one of these, [!a-z] for others. Without '/' it matches a file's name,
with '/' the path below DIR, where * matches '/' too. Quote it for the shell.

Examples:
  mtlpublish build --lossy --missing 'previews/*' --never '*.psd' library
  mtlpublish build --sign oak.key --name oak library)";

struct BuildArguments {
  LibraryArguments library;
  std::string keyFile;
  bool prepare = false;
  bool noSign = false;
  std::string name;
  std::optional<std::string> subPath;
  int expires = 0;
  PasswordSource password;
};

/// "" when the options go together.
std::string contradictionIn(const BuildArguments& arguments, const LibraryConfig& config) {
  if (std::string problem = contradictionIn(arguments.library); !problem.empty()) return problem;
  if (arguments.prepare && arguments.library.json) return "--prepare and --json exclude each other";
  const bool hasKey = !arguments.keyFile.empty();
  if ((hasKey ? 1 : 0) + (arguments.prepare ? 1 : 0) + (arguments.noSign ? 1 : 0) > 1) {
    return "--sign, --prepare and --no-sign exclude each other";
  }
  const bool describesRelease =
      !arguments.name.empty() || arguments.subPath || arguments.expires > 0;
  return describesRelease && !hasKey && !arguments.prepare && config.keyFile.empty()
             ? "--name, --sub-path and --expires need --sign or --prepare"
             : "";
}

/// False when there is no key to sign with, which has been said then. The configuration says how to
/// sign as far as the arguments do not.
bool setSigning(const BuildArguments& arguments, const LibraryConfig& config,
                SigningOptions& signing) {
  using Way = SigningOptions::Way;
  signing.library = arguments.name.empty() ? config.name : arguments.name;
  signing.subPath = arguments.subPath ? arguments.subPath : config.subPath;
  const int days = arguments.expires > 0 ? arguments.expires : config.expires;
  if (days > 0) signing.life = std::chrono::hours(24) * days;
  if (arguments.noSign || arguments.prepare) {
    signing.way = arguments.noSign ? Way::kNone : Way::kElsewhere;
    return true;
  }
  const std::string file =
      arguments.keyFile.empty() ? config.keyFile.u8string() : arguments.keyFile;
  if (file.empty()) return true;
  signing.way = Way::kKey;
  std::string problem;
  signing.key = readSecretKey(file, arguments.password, arguments.library.folder, problem);
  if (!signing.key) complain(problem);
  return signing.key.has_value();
}

int build(const BuildArguments& arguments) {
  const std::optional<LibraryConfig> config = readConfig(arguments.library);
  if (!config) return kFailed;
  if (const std::string problem = contradictionIn(arguments, *config); !problem.empty()) {
    return refuseUsage(problem);
  }
  PublishOptions options = publishOptions(arguments.library, *config);
  if (!setSigning(arguments, *config, options.signing)) return kFailed;
  const PublishResult result = publishShown(arguments.library, std::move(options));
  if (!arguments.prepare) return reportPublishing(result, arguments.library);
  // The comment is for a shell to hand on, and nothing else.
  const int status = reportProblems(result, arguments.library);
  if (status == kDone) std::cout << mtlsigning::commentText(*result.release) << '\n';
  return status;
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
  addLibraryOptions(command, arguments->library);
  addSigning(command, *arguments);
  command->footer(kBuildFooter);
  return {command, [arguments] { return build(*arguments); }};
}

}  // namespace mtlpublish
