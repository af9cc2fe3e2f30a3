// A folder to scan.
#ifndef MTLLIB_TESTS_TOOLS_MTLPUBLISH_TREE_SCAN_FIXTURE_H_
#define MTLLIB_TESTS_TOOLS_MTLPUBLISH_TREE_SCAN_FIXTURE_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "mtlpublish/system.h"
#include "mtlpublish/tree_scan.h"
#include "support/temp_dir.h"

class TreeScanTest : public testing::Test {
 protected:
  TreeScanTest() {
    writeFile(dir_ / "lib/.keep", "");
    std::filesystem::remove(dir_ / "lib/.keep");
    std::error_code error;
    root_ = mtlpublish::canonicalPath(dir_.path() / "lib", error);
  }

  std::vector<std::string> paths() {
    std::vector<std::string> result;
    const auto scan = mtlpublish::scanTree(root_, selection_);
    EXPECT_THAT(scan.problems, testing::IsEmpty());
    result.reserve(scan.files.size());
    for (const auto& file : scan.files)
      result.push_back(file.path);
    return result;
  }
  std::vector<std::string> problems() { return mtlpublish::scanTree(root_, selection_).problems; }
  void add(const std::string& path) {
    writeFile((root_ / std::filesystem::u8path(path)).u8string(), path);
  }
  static mtlpublish::Glob glob(const std::string& pattern) {
    std::string problem;
    return mtlpublish::Glob::parse(pattern, problem).value();
  }

  TempDir dir_;
  std::filesystem::path root_;
  mtlpublish::FileSelection selection_;
};

#endif  // MTLLIB_TESTS_TOOLS_MTLPUBLISH_TREE_SCAN_FIXTURE_H_
