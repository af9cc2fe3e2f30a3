// The command "mtlpublish files", which names the files of a library that a server must have.
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "mtlpublish/cache_rules.h"
#include "mtlpublish/commands/command_line.h"
#include "mtlpublish/commands/commands.h"
#include "mtlpublish/commands/library_arguments.h"
#include "mtlpublish/list_forms.h"
#include "mtlpublish/listed_files.h"
#include "mtlpublish/views.h"
#include "mtlpublish/whole_file.h"
#include "rules/list_entry.h"

namespace mtlpublish {

namespace {

namespace fs = std::filesystem;

constexpr const char* kFilesFooter =
    R"(Prints paths below DIR, one per line, for programs that upload a library. Lists
and ids are not among them, nor are files that no client fetches.

--lists prints the lists, and --list-forms their compressed forms and
differences, which must be on the server before the lists; after a tab follows
the place below the root of the server, or below the library's address if it has
no views. The id beside a list in DIR belongs in the same place below that
address. --cache-control adds a tab and the Cache-Control that library.toml sets
to each path, and --nginx prints the same for a configuration of nginx.

Examples:
  mtlpublish files library >names
  rsync --copy-links --files-from=names library/ server:/srv/library/)";

struct FilesArguments {
  LibraryArguments library;
  bool lists = false;
  bool listForms = false;
  bool cacheControl = false;
  bool nginx = false;
};

fs::path folderOf(const FilesArguments& arguments) {
  return fs::u8path(arguments.library.folder);
}

/// False when it cannot be read, which has been said then.
bool addFiles(const FilesArguments& arguments, const std::string& subPath,
              std::set<std::string>& paths) {
  const std::string name = listPlace("", subPath);
  std::string list;
  if (const auto error = readContent(folderOf(arguments) / fs::u8path(name), list)) {
    complain(arguments.library.folder + ": its " + name +
             " cannot be read: " + errorMessage(error));
    return false;
  }
  std::vector<ListedFile> listed;
  if (const std::string problem = readList(list, subPath, listed); !problem.empty()) {
    complain(name + ": clients refuse it: " + problem);
    return false;
  }
  for (const ListedFile& file : listed)
    paths.insert(file.remotePath);
  return true;
}

void printLists(const FilesArguments& arguments, const PublishedViews& views) {
  for (const std::string& subPath : views.subPaths) {
    std::vector<std::string> names = {mtlrules::kListName};
    if (arguments.listForms) names = listFormsIn(folderOf(arguments) / fs::u8path(subPath));
    for (const std::string& name : names) {
      std::cout << listPlace("", subPath, name) << '\t'
                << listPlace(views.addressPath, subPath, name) << '\n';
    }
  }
}

int printNginxMap(const LibraryConfig& config) {
  std::optional<std::string> path;
  if (!config.address.empty()) path = addressPath(config.address);
  std::cout << nginxMap(config.caches, path);
  return kDone;
}

int files(const FilesArguments& arguments) {
  if (arguments.lists + arguments.listForms + arguments.cacheControl + arguments.nginx > 1) {
    return refuseUsage("--lists, --list-forms, --cache-control and --nginx exclude each other");
  }
  LibraryConfig config;
  if (arguments.cacheControl || arguments.nginx) {
    std::optional<LibraryConfig> read = readConfig(arguments.library);
    if (!read) return kFailed;
    config = *std::move(read);
  }
  if (arguments.nginx) return printNginxMap(config);
  PublishedViews views = readViews(folderOf(arguments));
  // Without views, the address does not matter.
  if (views.subPaths.empty()) views.addressPath.clear();
  views.subPaths.insert(views.subPaths.begin(), "");
  if (arguments.lists || arguments.listForms) {
    printLists(arguments, views);
    return kDone;
  }
  std::set<std::string> paths;
  for (const std::string& subPath : views.subPaths) {
    if (!addFiles(arguments, subPath, paths)) return kFailed;
  }
  for (const std::string& path : paths) {
    std::cout << path;
    if (arguments.cacheControl) std::cout << '\t' << controlOfFile(config.caches, path);
    std::cout << '\n';
  }
  return kDone;
}

}  // namespace

Command addFilesCommand(CLI::App& program) {
  const auto arguments = std::make_shared<FilesArguments>();
  CLI::App* command = program.add_subcommand("files", "Print which files a server must have");
  addPlace(command, "DIR", arguments->library.folder, "Folder of a library that has been built");
  addConfigOption(command, arguments->library);
  command->add_flag("--lists", arguments->lists, "Print the lists and their places on the server");
  command->add_flag("--list-forms", arguments->listForms,
                    "Print what is beside the lists, with its places");
  command->add_flag("--cache-control", arguments->cacheControl,
                    "Add the Cache-Control of each file");
  command->add_flag("--nginx", arguments->nginx,
                    "Print the Cache-Control of files as a map for nginx");
  command->footer(kFilesFooter);
  return {command, [arguments] { return files(*arguments); }};
}

}  // namespace mtlpublish
