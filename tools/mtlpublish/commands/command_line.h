// What the commands share: kinds of options, messages, and exit statuses.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_COMMANDS_COMMAND_LINE_H_
#define MTLLIB_TOOLS_MTLPUBLISH_COMMANDS_COMMAND_LINE_H_

#include <CLI/CLI.hpp>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "common/console.h"
#include "mtlpublish/glob.h"

namespace mtlpublish {

enum ExitStatus { kDone = 0, kFailed = 1, kWrongUsage = 2 };

/// Prints a problem on standard error.
void complain(const std::string& message);

/// Prints what is wrong with the command line, and returns the exit status for that.
int refuseUsage(const std::string& message);

/// "1 file", "2 files".
std::string filesText(std::size_t count);

std::string bytesText(std::uint64_t count);

/// The status line of standard error, for people who look at it.
common::Console makeConsole(bool isQuiet);

/// Accepts whole numbers from `least` to `most`; the help does not show it.
CLI::Validator range(int least, int most);

/// Adds an argument that must be given and not be empty.
void addPlace(CLI::App* command, const char* name, std::string& place, const char* help);

/// Adds an option that takes one value.
CLI::Option* addText(CLI::App* command, const char* name, const char* type, std::string& text,
                     const char* help);

/// Adds an option that takes one value each time it is given.
CLI::Option* addTexts(CLI::App* command, const char* name, const char* type,
                      std::vector<std::string>& texts, const char* help);

/// The same for patterns.
void addGlobs(CLI::App* command, const char* name, std::vector<std::string>& patterns,
              const char* help);

/// The patterns that an option of addGlobs() accepted.
std::vector<Glob> parsed(const std::vector<std::string>& patterns);

/// Adds --password-file.
void addPasswordFile(CLI::App* command, std::string& file);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_COMMANDS_COMMAND_LINE_H_
