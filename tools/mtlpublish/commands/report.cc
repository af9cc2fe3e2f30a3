// The command "mtlpublish report", which writes a page about a library.
#include <chrono>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <system_error>

#include "mtlpublish/commands/command_line.h"
#include "mtlpublish/commands/commands.h"
#include "mtlpublish/contained_path.h"
#include "mtlpublish/file_name.h"
#include "mtlpublish/page/page.h"
#include "mtlpublish/whole_file.h"
#include "rules/path.h"

namespace mtlpublish {

namespace {

namespace fs = std::filesystem;

constexpr const char* kReportFooter =
    R"(The page is a single HTML file that shows the library as of its last build, with
a search of its files, and loads nothing from other servers. Its links are
relative: put it on the server next to id.txt. It cannot be written into DIR,
where the next build would list it.

Examples:
  mtlpublish report library >report.html
  mtlpublish report --output /srv/materials/library/index.html library)";

struct ReportArguments {
  std::string folder;
  std::string output;
  std::string subPath;
};

/// Returns what went wrong; "" when nothing did.
std::string writeReport(const fs::path& file, const fs::path& root, const std::string& page) {
  const std::string name = file.u8string();
  std::error_code error;
  const fs::path folder = canonicalFolder(fs::absolute(file).parent_path(), error);
  if (!error && liesWithin(folder, root)) {
    return name + ": lies in the library, where the next build would list it";
  }
  if (!error) error = replaceFile(folder, fileName(file.filename()), page);
  return error ? name + ": cannot be written: " + errorMessage(error) : "";
}

int report(const ReportArguments& arguments) {
  std::error_code error;
  const fs::path root = canonicalFolder(fs::u8path(arguments.folder), error);
  if (error) {
    complain(arguments.folder + ": " + errorMessage(error));
    return kFailed;
  }
  const std::string subPath = mtlrules::plainPath(arguments.subPath);
  if (subPath.empty() && !arguments.subPath.empty()) {
    return refuseUsage("--sub-path: '" + arguments.subPath + "' leaves the library");
  }
  std::string problem;
  const std::string page = libraryPage(root, subPath, std::chrono::system_clock::now(), problem);
  if (problem.empty() && !arguments.output.empty()) {
    problem = writeReport(fs::u8path(arguments.output), root, page);
  } else if (problem.empty()) {
    std::cout << page;
  }
  if (!problem.empty()) complain(problem);
  return problem.empty() ? kDone : kFailed;
}

}  // namespace

Command addReportCommand(CLI::App& program) {
  const auto arguments = std::make_shared<ReportArguments>();
  CLI::App* command =
      program.add_subcommand("report", "Write a web page that shows what is in DIR");
  addPlace(command, "DIR", arguments->folder, "Folder of a library that has been built");
  addText(command, "--output", "FILE", arguments->output,
          "File to write; standard output if not given");
  addText(command, "--sub-path", "PATH", arguments->subPath,
          "Show what clients that use this sub-path see");
  command->footer(kReportFooter);
  return {command, [arguments] { return report(*arguments); }};
}

}  // namespace mtlpublish
