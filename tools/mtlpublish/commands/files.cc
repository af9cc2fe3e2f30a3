// mtlpublish files: names what a server must have of a library.
#include <filesystem>
#include <iostream>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "mtlpublish/commands/command_line.h"
#include "mtlpublish/commands/commands.h"
#include "mtlpublish/list_forms.h"
#include "mtlpublish/listed_files.h"
#include "mtlpublish/views.h"
#include "mtlpublish/whole_file.h"

namespace mtlpublish {

namespace {

namespace fs = std::filesystem;

constexpr const char* kFilesFooter =
    R"(Paths are below DIR, one a line, as they are: for programs that publish. Lists
and stamps are not among them, nor is what no client ever fetches. The place of
a list, after a tab, is below the root of the server; beside the list in DIR is
its stamp, whose place is the same below the library. What is
published beside the list of DIR itself, compressed and as differences,
--list-forms names: to be there before the list is.

Examples:
  mtlpublish files library >names
  rsync --copy-links --files-from=names library/ server:/srv/library/)";

struct FilesArguments {
  std::string folder;
  bool lists = false;
  bool listForms = false;
};

/// False when it cannot be read, which has been said then.
bool addFiles(const FilesArguments& arguments, const std::string& subPath,
              std::set<std::string>& paths) {
  const std::string name = listPlace("", subPath);
  std::string list;
  if (const auto error = readContent(fs::u8path(arguments.folder) / fs::u8path(name), list)) {
    complain(arguments.folder + ": its " + name + " cannot be read: " + errorMessage(error));
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

int files(const FilesArguments& arguments) {
  if (arguments.listForms) {
    for (const std::string& name : listFormsIn(fs::u8path(arguments.folder)))
      std::cout << name << '\n';
    return kDone;
  }
  PublishedViews views = readViews(fs::u8path(arguments.folder));
  views.subPaths.insert(views.subPaths.begin(), "");
  std::set<std::string> paths;
  for (const std::string& subPath : views.subPaths) {
    if (arguments.lists) {
      std::cout << listPlace("", subPath) << '\t' << listPlace(views.addressPath, subPath) << '\n';
    } else if (!addFiles(arguments, subPath, paths)) {
      return kFailed;
    }
  }
  for (const std::string& path : paths)
    std::cout << path << '\n';
  return kDone;
}

}  // namespace

Command addFilesCommand(CLI::App& program) {
  const auto arguments = std::make_shared<FilesArguments>();
  CLI::App* command =
      program.add_subcommand("files", "Name the files of a library that clients fetch");
  addPlace(command, "DIR", arguments->folder, "Folder of a library that was built");
  command->add_flag("--lists", arguments->lists,
                    "Name the lists, each with its place on the server");
  command
      ->add_flag("--list-forms", arguments->listForms,
                 "Name what is published beside the list instead")
      ->excludes("--lists");
  command->footer(kFilesFooter);
  return {command, [arguments] { return files(*arguments); }};
}

}  // namespace mtlpublish
