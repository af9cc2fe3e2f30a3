// The command "mtlpublish serve", which serves a library on this computer.
#include <chrono>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "mtlpublish/commands/command_line.h"
#include "mtlpublish/commands/commands.h"
#include "mtlpublish/commands/library_arguments.h"
#include "mtlpublish/contained_path.h"
#include "mtlpublish/host_field.h"
#include "mtlpublish/static_server.h"
#include "mtlpublish/system.h"
#include "mtlpublish/whole_file.h"
#include "rules/list_entry.h"
#include "rules/own_names.h"
#include "rules/printable.h"

namespace mtlpublish {

namespace {

namespace fs = std::filesystem;

constexpr const char* kServeFooter =
    R"(Prints the address on standard output and, on standard error, a line for each
request: method, path, status, bytes, time. A browser that opens the address
gets a page about the library, unless the library has an index.html. GLOB is
matched against the path below DIR; see mtlpublish build --help.

Only requests for an IP address or for localhost are answered, so that no web
page can read the library through a host name of its own. If clients reach the
server by another name, for example through a tunnel, add it with --host-name.
--fail and --host-name may be repeated.

Examples:
  mtlpublish serve --port 8080 library
  mtlpublish serve --delay 500 --fail 'maps/*' --fail id.txt library)";

struct ServeArguments {
  LibraryArguments library;
  int port = 0;
  int delay = 0;
  std::vector<std::string> fail;
  std::vector<std::string> hostNames;
  bool quiet = false;
};

/// Clients would find nothing to synchronise with.
void warnOfUnbuilt(const fs::path& root, const std::string& folder) {
  for (const char* name : {mtlrules::kListName, mtlrules::kStampName}) {
    std::error_code error;
    if (fs::exists(root / name, error) || error) continue;
    complain("warning: " + folder + " has no " + name + "; run mtlpublish build first");
    return;
  }
}

int serve(const ServeArguments& arguments) {
  std::error_code error;
  const fs::path root = canonicalFolder(fs::u8path(arguments.library.folder), error);
  if (error) {
    complain(arguments.library.folder + ": " + errorMessage(error));
    return kFailed;
  }
  std::optional<LibraryConfig> config = readConfig(arguments.library);
  if (!config) return kFailed;
  ServerOptions options;
  options.caches = std::move(config->caches);
  options.delay = std::chrono::milliseconds(arguments.delay);
  options.fail = parsed(arguments.fail);
  options.hostNames = arguments.hostNames;
  if (!arguments.quiet) options.log = [](const std::string& line) { std::cerr << line + '\n'; };
  StaticServer server(root, std::move(options));
  if (!server.listen(arguments.port)) {
    complain("cannot listen on port " + std::to_string(arguments.port) +
             ": it is in use, or not for you to use");
    return kFailed;
  }
  if (!arguments.quiet) warnOfUnbuilt(root, arguments.library.folder);
  // Transfers under way and idle connections need no care.
  endWhenInterrupted();
  std::cout << "Serving " << mtlrules::printable(arguments.library.folder) << " at "
            << server.address() << std::endl;
  server.run();
  complain("can accept no more connections");
  return kFailed;
}

std::string hostNameProblem(const std::string& name) {
  return isHostName(name) ? "" : "'" + name + "' is not the name of a host";
}

}  // namespace

Command addServeCommand(CLI::App& program) {
  const auto arguments = std::make_shared<ServeArguments>();
  CLI::App* command =
      program.add_subcommand("serve", "Serve DIR on this computer only, to try it out");
  addPlace(command, "DIR", arguments->library.folder, "Folder to serve");
  addConfigOption(command, arguments->library);
  command->add_option("--port", arguments->port, "Port to listen on; any free one if not given")
      ->type_name("N")
      ->check(range(0, 65535));
  command
      ->add_option("--delay", arguments->delay,
                   "Delay each answer by MS milliseconds; 0 if not given")
      ->type_name("MS")
      ->check(range(0, 3'600'000));
  addGlobs(command, "--fail", arguments->fail, "Answer requests for these files with status 503");
  addTexts(command, "--host-name", "NAME", arguments->hostNames,
           "Also answer requests for this host name")
      ->check(CLI::Validator(hostNameProblem, "", "host name"));
  command->add_flag("-q,--quiet", arguments->quiet, "Do not print requests");
  command->footer(kServeFooter);
  return {command, [arguments] { return serve(*arguments); }};
}

}  // namespace mtlpublish
