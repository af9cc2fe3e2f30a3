// Prints the results of builds.
#include "mtlpublish/commands/publish_report.h"

#include <cstddef>
#include <filesystem>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "mtlpublish/commands/command_line.h"
#include "mtlpublish/result_json.h"
#include "mtlpublish/work_progress.h"
#include "rules/printable.h"

namespace mtlpublish {

namespace {

namespace fs = std::filesystem;

void printSkipped(const std::vector<std::string>& paths, bool names) {
  if (paths.empty()) return;
  std::size_t folders = 0;
  for (const std::string& path : paths) {
    if (names) std::cout << "skipped  " << mtlrules::printable(path) << '\n';
    if (path.back() == '/') ++folders;
  }
  std::cout << "Skipped " << filesText(paths.size() - folders) << " and " << folders
            << (folders == 1 ? " folder" : " folders") << (names ? "\n" : "; -v names them\n");
}

std::string requestsText(const Fetches& fetches) {
  return bytesText(fetches.bytes) + " in " + std::to_string(fetches.requests) +
         (fetches.requests == 1 ? " request" : " requests");
}

void printTotals(const EditionResult& result) {
  std::cout << filesText(result.files) << ", " << bytesText(result.bytes);
  if (result.release) {
    std::cout << ", serial " << result.release->serial;
  } else if (!result.id.empty()) {
    std::cout << ", id " << result.id.substr(0, 8) << "…";
  }
  std::cout << '\n';
}

void printNames(const char* what, const std::vector<std::string>& paths) {
  for (const std::string& path : paths)
    std::cout << what << mtlrules::printable(path) << '\n';
}

void printChanges(const EditionResult& result, bool names) {
  if (result.isFirst) {
    std::cout << "First build\n";
  } else if (!result.isNew) {
    std::cout << "Nothing has changed since the last build"
              << (result.isListRestored ? "; its list had, and is restored\n" : "\n");
  } else if (result.changes) {
    const ListChanges& changes = *result.changes;
    if (names) {
      printNames("added    ", changes.added);
      printNames("changed  ", changes.changed);
      printNames("removed  ", changes.removed);
    }
    if (changes.isEmpty()) {
      // The original of a lossy map has, or there was no id.
      std::cout << (result.release ? "The signature" : "The id")
                << " is new, though the list shows no change\n";
    } else {
      std::cout << changes.added.size() << " added, " << changes.changed.size() << " changed, "
                << changes.removed.size() << " removed\n";
    }
  }
  if (!result.isNew || (!result.changes && !result.isFirst)) return;
  std::cout << (result.changes ? "Clients of the last build fetch " : "New clients fetch ")
            << requestsText(result.byKit) << ", by the module " << requestsText(result.byModule)
            << '\n';
}

}  // namespace

PublishResult publishShown(const LibraryArguments& arguments, PublishOptions options) {
  common::Console console = makeConsole(arguments.quiet);
  options.onProgress = shownOn(console);
  return publish(fs::u8path(arguments.folder), options);
}

int reportProblems(const PublishResult& result, const LibraryArguments& arguments) {
  for (const std::string& warning : result.warnings) {
    if (!arguments.quiet) complain("warning: " + warning);
  }
  for (const std::string& problem : result.problems)
    complain(problem);
  return result.problems.empty() ? kDone : kFailed;
}

int reportPublishing(const PublishResult& result, const LibraryArguments& arguments) {
  if (arguments.json) {
    std::cout << jsonText(result) << '\n';
    return result.problems.empty() ? kDone : kFailed;
  }
  const int status = reportProblems(result, arguments);
  if (status != kDone || arguments.quiet) return status;
  printTotals(result);
  printSkipped(result.skipped, arguments.verbose);
  printChanges(result, arguments.verbose);
  for (const EditionResult& view : result.views) {
    std::cout << "View '" << view.subPath << "', list at " << mtlrules::printable(view.listUrl)
              << ":\n";
    printTotals(view);
    printChanges(view, arguments.verbose);
  }
  return kDone;
}

}  // namespace mtlpublish
