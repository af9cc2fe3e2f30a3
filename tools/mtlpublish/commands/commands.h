// Declares the commands of mtlpublish. Each has a source file with its options, its help and its
// work.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_COMMANDS_COMMANDS_H_
#define MTLLIB_TOOLS_MTLPUBLISH_COMMANDS_COMMANDS_H_

#include <CLI/CLI.hpp>
#include <functional>

namespace mtlpublish {

struct Command {
  const CLI::App* parser;  ///< Says whether the command was given. Lives as long as the program's.
  std::function<int()> run;  ///< After parsing; returns the program's exit status.
};

Command addBuildCommand(CLI::App& program);
Command addDiffCommand(CLI::App& program);
Command addFilesCommand(CLI::App& program);
Command addInitCommand(CLI::App& program);
Command addKeygenCommand(CLI::App& program);
Command addReportCommand(CLI::App& program);
Command addRollbackCommand(CLI::App& program);
Command addVerifyCommand(CLI::App& program);
Command addServeCommand(CLI::App& program);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_COMMANDS_COMMANDS_H_
