// mtlpublish: the publisher's side of a material library.
#include <CLI/CLI.hpp>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>
#include <vector>

#include "mtlpublish/error_message.h"
#include "mtlpublish/glob.h"
#include "mtlpublish/interrupt.h"
#include "mtlpublish/link.h"
#include "mtlpublish/publisher.h"
#include "mtlpublish/static_server.h"
#include "process/arguments.h"
#include "process/standard_streams.h"
#include "quantity/quantity_text.h"

namespace {

namespace fs = std::filesystem;
using mtlpublish::Glob;

enum ExitStatus { kDone = 0, kFailed = 1, kWrongUsage = 2 };

constexpr const char* kBuildFooter = R"(
GLOB: * stands for any characters, ? for one, [a-z] for one of these and [!a-z]
for any other. A pattern without '/' matches the file's name, with '/' the whole
path below DIR; * matches '/' too. Quote patterns, so that the shell does not
expand them.

The list is DIR/filelist.json, the id, which tells clients that something has
changed, DIR/id.txt. These two and DIR/.mtlpublish-*.tmp are never listed. Nothing
is written when there is a file that clients cannot fetch or save.

Example:
  mtlpublish build --lossy --missing 'previews/*' --never '*.psd' library)";

struct Arguments {
  std::string folder;
  std::vector<std::string> missing;
  std::vector<std::string> never;
  bool lossy = false;
  int port = 0;
};

void complain(const std::string& message) {
  std::cerr << "mtlpublish: " << message << '\n';
}

int refuseUsage(const std::string& message) {
  complain(message);
  std::cerr << "Run mtlpublish --help for more information.\n";
  return kWrongUsage;
}

std::string globProblem(const std::string& pattern) {
  std::string problem;
  if (Glob::parse(pattern, problem)) return {};
  return "pattern '" + pattern + "' " + problem;
}

/// Every pattern has passed globProblem.
std::vector<Glob> parsed(const std::vector<std::string>& patterns) {
  std::vector<Glob> globs;
  std::string problem;
  for (const std::string& pattern : patterns) {
    if (auto glob = Glob::parse(pattern, problem)) globs.push_back(*std::move(glob));
  }
  return globs;
}

int build(const Arguments& arguments) {
  const mtlpublish::PublishOptions options{parsed(arguments.missing), parsed(arguments.never),
                                           arguments.lossy};
  const auto result = mtlpublish::publish(fs::u8path(arguments.folder), options);
  for (const std::string& warning : result.warnings)
    complain("warning: " + warning);
  for (const std::string& problem : result.problems)
    complain(problem);
  if (!result.problems.empty()) return kFailed;
  std::cout << result.files << (result.files == 1 ? " file, " : " files, ")
            << quantity::bytesText(static_cast<std::int64_t>(result.bytes)) << ", id "
            << result.id.substr(0, 8) << "…\n";
  return kDone;
}

int serve(const Arguments& arguments) {
  std::error_code error;
  const fs::path root = mtlpublish::canonicalPath(fs::u8path(arguments.folder), error);
  if (!error && !fs::is_directory(root, error) && !error) {
    error = std::make_error_code(std::errc::not_a_directory);
  }
  if (error) {
    complain(arguments.folder + ": " + mtlpublish::errorMessage(error));
    return kFailed;
  }
  mtlpublish::StaticServer server(root);
  if (!server.listen(arguments.port)) {
    complain("cannot listen on port " + std::to_string(arguments.port) +
             ": it is in use, or not for you to use");
    return kFailed;
  }
  // Transfers under way and idle connections need no care.
  mtlpublish::endWhenInterrupted();
  std::cout << "Serving " << arguments.folder << " at " << server.address() << std::endl;
  server.run();
  complain("can accept no more connections");
  return kFailed;
}

int run(const process::Arguments& given) {
  Arguments arguments;
  CLI::App app("Publishes a folder as a material library, and serves it for trying out.",
               "mtlpublish");
  app.allow_windows_style_options(false);
  app.set_version_flag("--version", "mtlpublish " MTLPUBLISH_VERSION);
  app.set_help_flag("-h,--help", "Print this help and exit");
  // None is told apart from an unknown one below.
  app.require_subcommand(0, 1);
  app.footer("Run mtlpublish COMMAND --help for the options of a command.");

  CLI::App* buildCommand =
      app.add_subcommand("build", "Write the list of the files in DIR and the library's new id.");
  buildCommand->add_option("DIR", arguments.folder, "Folder to publish")->required();
  const CLI::Validator glob(globProblem, "", "glob");
  buildCommand
      ->add_option("--missing", arguments.missing,
                   "Files that clients fetch only when they do not have them")
      ->type_name("GLOB")
      ->allow_extra_args(false)
      ->check(glob);
  buildCommand
      ->add_option("--never", arguments.never,
                   "Files that clients never fetch; overrules --missing")
      ->type_name("GLOB")
      ->allow_extra_args(false)
      ->check(glob);
  buildCommand->add_flag("--lossy", arguments.lossy,
                         "Where x.tx and x.jpeg.tx exist, clients fetch x.jpeg.tx for x.tx");
  buildCommand->footer(kBuildFooter);

  CLI::App* serveCommand =
      app.add_subcommand("serve", "Serve DIR on this computer alone, until interrupted.");
  serveCommand->add_option("DIR", arguments.folder, "Folder to serve")->required();
  serveCommand->add_option("--port", arguments.port, "Port to listen on; 0 picks a free one")
      ->type_name("N")
      ->check(CLI::Range(0, 65535))
      ->capture_default_str();

  try {
    app.parse(given.count(), given.values());
  } catch (const CLI::Success& request) {
    return app.exit(request);
  } catch (const CLI::ParseError& error) {
    return refuseUsage(error.what());
  }
  if (buildCommand->parsed()) return build(arguments);
  if (serveCommand->parsed()) return serve(arguments);
  return refuseUsage("a command is needed: build or serve");
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const process::StandardStreams streams;
    return run(process::Arguments(argc, argv));
  } catch (const std::exception& error) {
    complain(error.what());
    return kFailed;
  }
}
