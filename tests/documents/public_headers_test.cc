// Tests of the versions that the public headers state.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <string>

#include "mtlhost.h"
#include "mtllib/version.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;

std::string versionOf(int major, int minor, int patch) {
  return std::to_string(major) + '.' + std::to_string(minor) + '.' + std::to_string(patch);
}

TEST(PublicHeaders, HaveTheVersionOfTheProject) {
  EXPECT_STREQ(MTLLIB_VERSION, PROJECT_VERSION);
  EXPECT_EQ(versionOf(MTLLIB_VERSION_MAJOR, MTLLIB_VERSION_MINOR, MTLLIB_VERSION_PATCH),
            PROJECT_VERSION);
  EXPECT_STREQ(MTLHOST_VERSION, PROJECT_VERSION);
  EXPECT_EQ(versionOf(MTLHOST_VERSION_MAJOR, MTLHOST_VERSION_MINOR, MTLHOST_VERSION_PATCH),
            PROJECT_VERSION);
}

/// "MAJOR.MINOR" as a number that grows with it; -1 for any other text.
int orderOf(const std::string& version) {
  std::smatch match;
  if (!std::regex_search(version, match, std::regex("^([0-9]+)\\.([0-9]+)"))) return -1;
  return std::stoi(match[1]) * 1000 + std::stoi(match[2]);
}

/// Every mark names an existing version, and the first one stands before all declarations.
void expectVersions(const fs::path& header) {
  static const std::regex mark("@since ([^ ,\n]+)");
  const std::string text = readFile(header.string());
  const std::string opening = text.substr(0, text.find("#ifndef "));
  EXPECT_TRUE(std::regex_search(opening, mark))
      << header << " has no @since before its first declaration";
  for (std::sregex_iterator i(text.begin(), text.end(), mark), end; i != end; ++i) {
    const int since = orderOf((*i)[1]);
    EXPECT_GE(since, orderOf("1.0")) << header << ": " << i->str();
    EXPECT_LE(since, orderOf(PROJECT_VERSION)) << header << ": " << i->str();
  }
}

TEST(PublicHeaders, NameTheVersionThatIntroducedThem) {
  const fs::path project = MTLLIB_FOLDER;
  expectVersions(project / "host/c/mtlhost.h");
  for (const char* folder : {"include/mtllib", "host/include/mtlhost"}) {
    for (const auto& entry : fs::directory_iterator(project / folder))
      expectVersions(entry.path());
  }
}

}  // namespace
