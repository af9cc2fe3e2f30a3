// mtlpublish files: names what a server must have of a library.
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "mtlpublish/commands/command_line.h"
#include "mtlpublish/commands/commands.h"
#include "mtlpublish/listed_files.h"
#include "mtlpublish/whole_file.h"
#include "rules/list_entry.h"

namespace mtlpublish {

namespace {

namespace fs = std::filesystem;

constexpr const char* kFilesFooter = R"(
Paths are below DIR, one a line, as they are: for programs that publish. The
list and the stamp are not among them, nor is what clients never fetch.

Examples:
  mtlpublish files library >names
  rsync --copy-links --files-from=names library/ server:/srv/library/)";

int files(const std::string& folder) {
  std::string list;
  if (const auto error = readContent(fs::u8path(folder) / mtlrules::kListName, list)) {
    complain(folder + ": its " + mtlrules::kListName + " cannot be read: " + errorMessage(error));
    return kFailed;
  }
  std::vector<ListedFile> listed;
  if (const std::string problem = readList(list, "", listed); !problem.empty()) {
    complain(std::string(mtlrules::kListName) + ": clients refuse it: " + problem);
    return kFailed;
  }
  for (const ListedFile& file : listed)
    std::cout << file.remotePath << '\n';
  return kDone;
}

}  // namespace

Command addFilesCommand(CLI::App& program) {
  const auto folder = std::make_shared<std::string>();
  CLI::App* command =
      program.add_subcommand("files", "Name the files of a library that clients fetch");
  addPlace(command, "DIR", *folder, "Folder of a library that was built");
  command->footer(kFilesFooter);
  return {command, [folder] { return files(*folder); }};
}

}  // namespace mtlpublish
