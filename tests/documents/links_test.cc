// The links between the project's documents lead somewhere.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <filesystem>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;

/// What stands in code, between backticks, is no link.
std::string withoutCode(const std::string& document) {
  std::string text;
  bool isCode = false;
  for (std::size_t i = 0; i < document.size(); ++i) {
    if (document[i] != '`') {
      if (!isCode) text += document[i];
      continue;
    }
    isCode = !isCode;
    while (i + 1 < document.size() && document[i + 1] == '`')
      ++i;
  }
  return text;
}

/// As the common hosts of repositories make them of headings.
std::set<std::string> anchorsOf(const std::string& document) {
  static const std::regex heading("(^|\n)#+ ([^\n]*)");
  std::set<std::string> anchors;
  for (std::sregex_iterator found(document.begin(), document.end(), heading), end; found != end;
       ++found) {
    std::string anchor;
    for (const char c : (*found)[2].str()) {
      const auto byte = static_cast<unsigned char>(c);
      if (c == ' ' || c == '-') anchor += '-';
      if (std::isalnum(byte) != 0 || c == '_') anchor += static_cast<char>(std::tolower(byte));
    }
    anchors.insert(anchor);
  }
  return anchors;
}

std::vector<fs::path> documents() {
  std::vector<fs::path> found;
  const fs::path root(MTLLIB_FOLDER);
  for (const char* folder : {".", "docs", "examples", "krell_networking", "integrations/blender"}) {
    for (const auto& entry : fs::directory_iterator(root / folder))
      if (entry.path().extension() == ".md") found.push_back(entry.path());
  }
  std::sort(found.begin(), found.end());
  return found;
}

/// Why a link of a document leads nowhere; "" when it leads somewhere.
std::string problemOf(const fs::path& document, const std::string& target,
                      const std::string& anchor) {
  const fs::path file = target.empty() ? document : document.parent_path() / fs::u8path(target);
  if (!fs::exists(file)) return "there is no " + target;
  if (anchor.empty() || anchorsOf(readFile(file.u8string())).count(anchor) > 0) return "";
  return "there is no heading " + anchor + " in " + file.filename().u8string();
}

TEST(Links, LeadSomewhere) {
  static const std::regex link(R"(\]\(([^)#:]*)(?:#([^)]*))?\))");
  int links = 0;
  for (const fs::path& document : documents()) {
    const std::string text = withoutCode(readFile(document.u8string()));
    for (std::sregex_iterator found(text.begin(), text.end(), link), end; found != end; ++found) {
      ++links;
      EXPECT_EQ(problemOf(document, (*found)[1], (*found)[2]), "") << document;
    }
  }
  EXPECT_GT(links, 20);
}

TEST(Links, ThatLeadNowhereAreFound) {
  const fs::path document = fs::path(MTLLIB_FOLDER) / "docs/messages.md";
  EXPECT_EQ(problemOf(document, "nothing.md", ""), "there is no nothing.md");
  EXPECT_EQ(problemOf(document, "", "nothing"), "there is no heading nothing in messages.md");
  EXPECT_EQ(problemOf(document, "reliability.md", "disks"), "");
}

}  // namespace
