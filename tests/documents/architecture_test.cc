// Tests that the picture of the architecture shows which folder uses which, as the sources include.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using Use = std::pair<std::string, std::string>;

const fs::path kProject = MTLLIB_FOLDER;

/// What is drawn as one box: most often a folder.
std::string roomOf(const std::string& file) {
  static const std::vector<std::pair<std::regex, std::string>> rooms{
      // What every failure is reported with is at the bottom, wherever its files do.
      {std::regex("src/(plugin/error_chain|qutils/text_builder)\\..*"), "errors"},
      {std::regex("include/.*"), ""},
      {std::regex("host/c/.*"), "c"},
      {std::regex("(?:src|tools)/([^/]+)/.*"), "$1"},
      {std::regex("([^/]+)/.*"), "$1"}};
  for (const auto& [pattern, room] : rooms) {
    std::smatch match;
    if (std::regex_match(file, match, pattern)) return match.format(room);
  }
  return "";
}

/// The file, below the project's folder, that an #include in `folder` names.
std::string includedFile(const std::string& folder, const std::string& name) {
  for (const std::string& base :
       std::vector<std::string>{folder + "/", "src/", "", "tools/", "include/", "host/include/",
                                "host/c/", "host/src/"}) {
    // Some are made when the project is built.
    for (const char* suffix : {"", ".in"}) {
      if (fs::is_regular_file(kProject / (base + name + suffix))) return base + name;
    }
  }
  ADD_FAILURE() << "\"" << name << "\", which " << folder << " includes, is nowhere";
  return "";
}

void addUses(const std::string& file, std::set<Use>& uses) {
  static const std::regex include("(?:^|\n)#include \"([^\"]+)\"");
  const std::string text = readFile((kProject / file).string());
  const std::string folder = file.substr(0, file.rfind('/'));
  for (std::sregex_iterator i(text.begin(), text.end(), include), end; i != end; ++i) {
    const std::string used = roomOf(includedFile(folder, (*i)[1]));
    if (used.empty() || used == roomOf(file)) continue;
    uses.emplace(roomOf(file), used);
  }
}

std::vector<std::string> sources() {
  std::vector<std::string> files;
  for (const char* top :
       {"src", "krell_networking/src", "host", "platform", "signing", "tools", "update"}) {
    for (const auto& entry : fs::recursive_directory_iterator(kProject / top)) {
      const std::string extension = entry.path().extension().string();
      if (extension != ".h" && extension != ".cc") continue;
      files.push_back(entry.path().lexically_relative(kProject).generic_string());
    }
  }
  return files;
}

std::set<Use> usesInSources() {
  std::set<Use> uses;
  for (const std::string& file : sources())
    addUses(file, uses);
  return uses;
}

std::set<Use> usesInThePicture() {
  static const std::regex arrow("data-from=\"([^\"]+)\" data-to=\"([^\"]+)\"");
  const std::string text = readFile((kProject / "docs/architecture.svg").string());
  std::set<Use> uses;
  for (std::sregex_iterator i(text.begin(), text.end(), arrow), end; i != end; ++i)
    uses.emplace((*i)[1], (*i)[2]);
  return uses;
}

TEST(Architecture, IsDrawnAsTheSourcesInclude) {
  EXPECT_THAT(usesInThePicture(), testing::ContainerEq(usesInSources()));
}

TEST(Architecture, LetsTheNetworkingLibraryAloneUseLibcurl) {
  std::set<std::string> rooms;
  for (const std::string& file : sources()) {
    const std::string text = readFile((kProject / file).string());
    if (text.find("#include <curl/") != std::string::npos) rooms.insert(roomOf(file));
  }
  EXPECT_THAT(rooms, testing::ElementsAre("krell_networking"));
}

TEST(Architecture, LetsNothingUseWhatUsesIt) {
  std::set<Use> uses = usesInSources();
  ASSERT_FALSE(uses.empty());
  // Rooms that use none of those that are left can be built first.
  bool found = true;
  while (found) {
    std::set<std::string> users;
    for (const Use& use : uses)
      users.insert(use.first);
    found = false;
    for (auto use = uses.begin(); use != uses.end();) {
      const bool isBuilt = users.count(use->second) == 0;
      found = found || isBuilt;
      use = isBuilt ? uses.erase(use) : std::next(use);
    }
  }
  EXPECT_THAT(uses, testing::IsEmpty()) << "a circle";
}

}  // namespace
