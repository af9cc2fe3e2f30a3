// mtlpublish: the publisher's side of a material library.
#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>

#include "common/system.h"
#include "mtlpublish/commands/command_line.h"
#include "mtlpublish/commands/commands.h"

namespace {

using mtlpublish::Command;

constexpr const char* kFooter =
    R"(Run mtlpublish COMMAND --help for the options of a command.

Exit status: 0 done, 1 failed or problems found, 2 wrong usage.

Examples:
  mtlpublish build library
  mtlpublish verify library
  mtlpublish serve --port 8080 library
  mtlpublish verify http://127.0.0.1:8080/)";

/// What "--password-file FILE" takes, so that most of a line is left to say what it is for.
constexpr int kOptionColumns = 24;

int run(const common::Arguments& given) {
  CLI::App program("Publishes a folder as a material library, checks it and serves it.",
                   "mtlpublish");
  program.allow_windows_style_options(false);
  program.get_formatter()->column_width(kOptionColumns);
  program.set_version_flag("--version", "mtlpublish " MTLPUBLISH_VERSION,
                           "Print the version and exit");
  program.set_help_flag("-h,--help", "Print this help and exit");
  // A missing command is reported below.
  program.require_subcommand(0, 1);
  program.footer(kFooter);
  const Command commands[] = {
      mtlpublish::addBuildCommand(program),    mtlpublish::addDiffCommand(program),
      mtlpublish::addFilesCommand(program),    mtlpublish::addInitCommand(program),
      mtlpublish::addKeygenCommand(program),   mtlpublish::addReportCommand(program),
      mtlpublish::addRollbackCommand(program), mtlpublish::addVerifyCommand(program),
      mtlpublish::addServeCommand(program)};
  try {
    program.parse(given.count(), given.values());
  } catch (const CLI::Success& request) {
    return program.exit(request);
  } catch (const CLI::ParseError& error) {
    return mtlpublish::refuseUsage(error.what());
  }
  for (const Command& command : commands) {
    if (command.parser->parsed()) return command.run();
  }
  return mtlpublish::refuseUsage(
      "a command is needed: build, diff, files, init, keygen, report, rollback, verify or serve");
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const common::StandardStreams streams;
    const int status = run(common::Arguments(argc, argv));
    if (std::cout.flush()) return status;
    mtlpublish::complain("could not write to standard output");
    return status == mtlpublish::kDone ? mtlpublish::kFailed : status;
  } catch (const std::exception& error) {
    mtlpublish::complain(error.what());
    return mtlpublish::kFailed;
  }
}
