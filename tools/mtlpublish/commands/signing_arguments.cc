// Adds the options of signing_arguments.h to a command, and reads the keys.
#include "mtlpublish/commands/signing_arguments.h"

#include <chrono>

#include "mtlpublish/commands/command_line.h"
#include "signing/release_comment.h"

namespace mtlpublish {

namespace {

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

}  // namespace

void addSigningOptions(CLI::App* command, SigningArguments& arguments) {
  addText(command, "--sign", "KEYFILE", arguments.keyFile,
          "Sign the list with this secret key, made by keygen");
  command->add_flag("--prepare", arguments.prepare,
                    "Print the comment for signing the list elsewhere");
  command->add_flag("--no-sign", arguments.noSign,
                    "Do not sign, although the last build was signed");
  addText(command, "--name", "NAME", arguments.name,
          "Name to sign the library with; later builds keep it")
      ->check(CLI::Validator(libraryNameProblem, "", "library name"));
  command
      ->add_option("--sub-path", arguments.subPath,
                   "Sub-path that clients use; later builds keep it")
      ->type_name("PATH")
      ->option_text("PATH")
      ->check(CLI::Validator(subPathProblem, "", "sub-path"));
  command
      ->add_option("--expires", arguments.expires,
                   "Days until the signature expires; never by default")
      ->type_name("DAYS")
      ->check(range(1, 3650));
  addPasswordFile(command, arguments.password.file);
}

std::string contradictionIn(const SigningArguments& arguments, const LibraryConfig& config) {
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

bool setSigning(const SigningArguments& arguments, const LibraryConfig& config,
                const std::string& folder, SigningOptions& signing) {
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
  signing.key = readSecretKey(file, arguments.password, folder, problem);
  if (!signing.key) complain(problem);
  return signing.key.has_value();
}

}  // namespace mtlpublish
