// The command "mtlpublish init", which writes a first configuration for a library.
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <system_error>

#include "mtlpublish/commands/command_line.h"
#include "mtlpublish/commands/commands.h"
#include "mtlpublish/contained_path.h"
#include "mtlpublish/file_name.h"
#include "mtlpublish/first_config.h"
#include "mtlpublish/system.h"
#include "mtlpublish/tree_scan.h"
#include "mtlpublish/whole_file.h"

namespace mtlpublish {

namespace {

namespace fs = std::filesystem;

constexpr const char* kInitFooter =
    R"(Comments in the file explain what it can contain. Its settings are what probably
suits the files in DIR: look them through before the first build. An existing
file is not overwritten.

Examples:
  mtlpublish init library && $EDITOR library/library.toml
  mtlpublish diff library)";

int init(const std::string& folder) {
  std::error_code error;
  const fs::path root = canonicalFolder(fs::u8path(folder), error);
  if (!error) {
    const std::string text = firstConfig(scanTree(root), fileName(root));
    error = createFile(root / kConfigName, text, false);
  }
  const std::string file = (fs::u8path(folder) / kConfigName).u8string();
  if (error) {
    complain(file + ": cannot be written: " + errorMessage(error));
    return kFailed;
  }
  std::cout << "Wrote " << file << "; look it through, then run mtlpublish build\n";
  return kDone;
}

}  // namespace

Command addInitCommand(CLI::App& program) {
  const auto folder = std::make_shared<std::string>();
  CLI::App* command =
      program.add_subcommand("init", "Write a first configuration, DIR/library.toml");
  addPlace(command, "DIR", *folder, "Folder to publish");
  command->footer(kInitFooter);
  return {command, [folder] { return init(*folder); }};
}

}  // namespace mtlpublish
