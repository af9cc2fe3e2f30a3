// Beside the program, then where both are installed.
#include "mtlsync/module_search.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "mtlhost/system.h"

namespace mtlsync {

namespace {

namespace fs = std::filesystem;

bool exists(const std::string& file) {
  std::error_code error;
  return fs::exists(fs::u8path(file), error);
}

}  // namespace

std::vector<std::string> moduleCandidates(const std::string& programFolder) {
  const fs::path folder = fs::u8path(programFolder);
  const fs::path installed = folder / fs::u8path(MTLSYNC_INSTALLED_MODULE_FOLDER);
  const fs::path name = fs::u8path(mtlhost::moduleFileName());
  std::vector<std::string> candidates;
  for (const fs::path& candidate : {folder / name, (installed / name).lexically_normal()}) {
    std::string file = fs::path(candidate).make_preferred().u8string();
    if (candidates.empty() || file != candidates.front()) candidates.push_back(std::move(file));
  }
  return candidates;
}

std::string firstExisting(const std::vector<std::string>& candidates, ErrorEntries& problem) {
  for (const std::string& file : candidates) {
    if (exists(file)) return file;
  }
  problem.push_back(ownError("Could not find the module; --module FILE names it"));
  for (const std::string& file : candidates)
    problem.push_back(ownError("there is no \"" + file + '"'));
  return "";
}

}  // namespace mtlsync
