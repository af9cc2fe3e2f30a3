// Tests paths against a second, plain statement of the same rules, over generated paths.
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "fakes/recording_callback.h"
#include "plugin/downloader.h"
#include "rules/path.h"

namespace {

constexpr int kPaths = 1000000;

/// Makes paths of few letters, many separators and dots, and all that must be encoded.
/// The same ones everywhere: the engine's numbers are fixed, a distribution's are not.
class PathGenerator {
 public:
  const std::string& next() {
    path_.clear();
    for (std::size_t pieces = below(13); pieces > 0; --pieces)
      addPiece();
    return path_;
  }
  std::size_t below(std::size_t bound) { return static_cast<std::size_t>(random_()) % bound; }

 private:
  void addPiece() {
    static constexpr std::string_view kPieces[] = {
        "/", "/", "\\", "\\", ".", "..", "/..", "\\..", "/.", "a", "b", "/a", "\\b", ":", "%", " "};
    const std::size_t choice = below(20);
    if (choice < 16) {
      path_ += kPieces[choice];
    } else if (choice < 18) {
      path_ += static_cast<char>(0x80 + below(0x80));
    } else {
      path_ += static_cast<char>(1 + below(0xFF));
    }
  }

  std::mt19937 random_{20240501};
  std::string path_;
};

bool isSeparator(char c) {
  return c == '/' || c == '\\';
}

std::vector<std::string_view> componentsOf(std::string_view path) {
  std::vector<std::string_view> components;
  std::size_t begin = 0;
  for (std::size_t i = 0; i <= path.size(); ++i) {
    if (i < path.size() && !isSeparator(path[i])) continue;
    if (i > begin) components.push_back(path.substr(begin, i - begin));
    begin = i + 1;
  }
  return components;
}

// Strikes out the leftmost "." or ".." that can be resolved until there is none.
void resolve(std::vector<std::string_view>& components, bool rooted) {
  for (std::size_t i = 0; i < components.size();) {
    const auto here = components.begin() + static_cast<std::ptrdiff_t>(i);
    if (*here == "." && (i > 0 || rooted)) {
      components.erase(here);
      i = 0;
    } else if (*here == ".." && i > 0 && *(here - 1) != "..") {
      components.erase(here - 1, here + 1);
      i = 0;
    } else {
      ++i;
    }
  }
}

std::string expectedCanonical(std::string_view path) {
  const bool network = path.size() > 1 && isSeparator(path[0]) && isSeparator(path[1]);
  const bool rooted = !network && !path.empty() && isSeparator(path[0]);
  std::vector<std::string_view> components = componentsOf(path);
  resolve(components, rooted);
  std::string result = network ? "//" : rooted ? "/" : "";
  for (const std::string_view component : components)
    (result += component) += '/';
  if (!components.empty() || rooted) result.pop_back();
  return result;
}

std::string expectedFullPath(const std::string& base, const std::string& relative) {
  const std::string path = expectedCanonical(base + "/" + relative);
  return path == ".." || path.substr(0, 3) == "../" ? "" : path;
}

std::string expectedEncoding(const std::string& path) {
  constexpr const char* kKept =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
  std::string result;
  for (const char c : path) {
    if (std::strchr(kKept, c) != nullptr) {
      result += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      result += '%';
      result += "0123456789ABCDEF"[byte / 16];
      result += "0123456789ABCDEF"[byte % 16];
    }
  }
  return result;
}

int digitValue(char digit) {
  return digit <= '9' ? digit - '0' : digit - 'A' + 10;
}

std::string decoded(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%' || i + 2 >= text.size()) {
      result += text[i];
      continue;
    }
    result += static_cast<char>(digitValue(text[i + 1]) * 16 + digitValue(text[i + 2]));
    i += 2;
  }
  return result;
}

TEST(CanonicalPath, FollowsItsRulesForAMillionPaths) {
  PathGenerator generator;
  for (int i = 0; i < kPaths; ++i) {
    const std::string& path = generator.next();
    ASSERT_EQ(mtlrules::canonicalPath(path), expectedCanonical(path)) << '"' << path << '"';
  }
}

class GeneratedFullPath : public testing::Test {
 protected:
  void chooseBase(const std::string& base) {
    downloader.remotePath = base.c_str();
    settings.targetDirectory = base.c_str();
  }
  std::string full(const std::string& relative, PathSide side) const {
    return downloader.makeFullPath(relative.c_str(), side).text();
  }

  PathGenerator generator;
  RecordingCallback callback;
  DownloaderSettings settings;
  DownloaderImpl downloader{nullptr, {}, &callback, &settings};
};

TEST_F(GeneratedFullPath, FollowsItsRulesAndCanBeDecoded) {
  const std::array<std::string, 10> bases = {"",     "/",  "/lib",  "lib", "/lib v2/\xC3\xA9",
                                             "lib/", "..", "a/../", ".",   "\\\\server\\share"};
  for (int i = 0; i < kPaths; ++i) {
    const std::string& base = bases[generator.below(bases.size())];
    chooseBase(base);
    const std::string& relative = generator.next();
    const std::string plain = expectedFullPath(base, relative);
    const std::string encoded = full(relative, PathSide::kRemote);
    ASSERT_EQ(encoded, expectedEncoding(plain)) << '"' << base << "\" \"" << relative << '"';
    ASSERT_EQ(decoded(encoded), plain) << '"' << base << "\" \"" << relative << '"';
    ASSERT_EQ(full(relative, PathSide::kLocal), plain) << '"' << base << "\" \"" << relative << '"';
  }
}

TEST_F(GeneratedFullPath, StaysBelowTheTargetWhenTheRelativePathDoes) {
  const std::array<std::string, 5> bases = {"/data", "C:/data/maps", "data", "./data",
                                            "//server/share"};
  int below = 0;
  for (int i = 0; i < 200000; ++i) {
    const std::string& base = bases[generator.below(bases.size())];
    const std::string& relative = generator.next();
    if (!mtlrules::staysBelow(relative, false)) continue;
    ++below;
    chooseBase(base);
    const std::string path = full(relative, PathSide::kLocal);
    ASSERT_EQ(path.substr(0, base.size() + 1), base + "/") << '"' << relative << '"';
    ASSERT_GT(path.size(), base.size() + 1) << '"' << relative << '"';
    ASSERT_EQ(path.find("/../"), std::string::npos) << '"' << relative << '"';
  }
  EXPECT_GT(below, 50000);
}

}  // namespace
