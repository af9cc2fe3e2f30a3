// Runs all tests of the program in a folder of its own: those that name a copy "dir" then never use
// the one of another test that runs at the same time.
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>

#include "support/temp_dir.h"

namespace {

class OwnFolder final : public testing::Environment {
 public:
  void SetUp() override {
    before_ = std::filesystem::current_path();
    // Names of programs may be without a drive, and are then of that of the current folder.
    const std::filesystem::path usual = std::filesystem::temp_directory_path();
    folder_.emplace(usual.root_name() == before_.root_name() ? usual : before_);
    const std::filesystem::path here = folder_->path() / "here";
    std::filesystem::create_directory(here);
    std::filesystem::current_path(here);
  }
  // Windows removes no folder that is somebody's current one.
  void TearDown() override {
    std::filesystem::current_path(before_);
    folder_.reset();
  }

 private:
  std::filesystem::path before_;
  std::optional<TempDir> folder_;
};

const testing::Environment* const kOwnFolder = testing::AddGlobalTestEnvironment(new OwnFolder);

}  // namespace
