// The options that say what a library consists of, for every command that makes its list.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_COMMANDS_LIBRARY_ARGUMENTS_H_
#define MTLLIB_TOOLS_MTLPUBLISH_COMMANDS_LIBRARY_ARGUMENTS_H_

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "mtlpublish/library_config.h"
#include "mtlpublish/publisher.h"

namespace mtlpublish {

struct LibraryArguments {
  std::string folder;
  std::string config;
  std::vector<std::string> missing;
  std::vector<std::string> never;
  std::vector<std::string> exclude;
  std::vector<std::string> include;
  bool lossy = false;
  std::vector<std::string> allow;
  std::vector<std::string> mirrors;
  bool noCache = false;
  bool quiet = false;
  bool verbose = false;
  bool json = false;
};

/// Adds --config.
void addConfigOption(CLI::App* command, LibraryArguments& arguments);

/// Adds that and all others.
void addLibraryOptions(CLI::App* command, LibraryArguments& arguments);

/// "" when the options go together.
std::string contradictionIn(const LibraryArguments& arguments);

/// What the library's configuration says, or the one that was named; nothing where there is none.
/// None when it cannot be used, which has been said then.
std::optional<LibraryConfig> readConfig(const LibraryArguments& arguments);

/// The options of a build: what the arguments say, and beyond that what the configuration says.
PublishOptions publishOptions(const LibraryArguments& arguments, const LibraryConfig& config);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_COMMANDS_LIBRARY_ARGUMENTS_H_
