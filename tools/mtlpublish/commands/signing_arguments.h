// The options that say whether and how a library is signed.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_COMMANDS_SIGNING_ARGUMENTS_H_
#define MTLLIB_TOOLS_MTLPUBLISH_COMMANDS_SIGNING_ARGUMENTS_H_

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

#include "mtlpublish/key_files.h"
#include "mtlpublish/library_config.h"
#include "mtlpublish/library_stamp.h"

namespace mtlpublish {

struct SigningArguments {
  std::string keyFile;
  bool prepare = false;
  bool noSign = false;
  std::string name;
  std::optional<std::string> subPath;
  int expires = 0;
  PasswordSource password;
};

void addSigningOptions(CLI::App* command, SigningArguments& arguments);

/// "" when the options go together.
std::string contradictionIn(const SigningArguments& arguments, const LibraryConfig& config);

/// False when there is no key to sign with, which has been said then. The configuration says how to
/// sign as far as the arguments do not. `folder` is that of the library.
bool setSigning(const SigningArguments& arguments, const LibraryConfig& config,
                const std::string& folder, SigningOptions& signing);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_COMMANDS_SIGNING_ARGUMENTS_H_
