// A TempDir is a test's own directory, which is removed afterwards with everything in it.
#ifndef MTLLIB_TESTS_SUPPORT_TEMP_DIR_H_
#define MTLLIB_TESTS_SUPPORT_TEMP_DIR_H_

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <string>

class TempDir {
 public:
  TempDir() : TempDir(std::filesystem::temp_directory_path()) {}
  explicit TempDir(const std::filesystem::path& parent) {
    std::random_device random;
    do {
      path_ = parent / ("mtllib-" + std::to_string(random()));
    } while (!std::filesystem::create_directory(path_));
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return path_; }

  /// The UTF-8 name, with '/' as the separator, of `relative` (UTF-8) in this directory.
  std::string operator/(const std::string& relative) const {
    return (path_ / std::filesystem::u8path(relative)).generic_u8string();
  }

 private:
  std::filesystem::path path_;
};

/// The content of a file; "" when there is none.
inline std::string readFile(const std::string& name) {
  std::ifstream file(std::filesystem::u8path(name), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// Writes a file, making the directories on the way.
inline void writeFile(const std::string& name, const std::string& content) {
  const auto path = std::filesystem::u8path(name);
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << content;
}

/// Every file below `root`: its relative name, with '/', and its content.
inline std::map<std::string, std::string> readTree(const std::string& root) {
  std::map<std::string, std::string> files;
  const auto base = std::filesystem::u8path(root);
  if (!std::filesystem::exists(base)) return files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(base)) {
    if (!entry.is_regular_file()) continue;
    files[entry.path().lexically_relative(base).generic_u8string()] =
        readFile(entry.path().u8string());
  }
  return files;
}

#endif  // MTLLIB_TESTS_SUPPORT_TEMP_DIR_H_
