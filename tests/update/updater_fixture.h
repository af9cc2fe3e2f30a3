// A library on a server, its copy, and whole runs of the engine between the two.
#ifndef MTLLIB_TESTS_UPDATE_UPDATER_FIXTURE_H_
#define MTLLIB_TESTS_UPDATE_UPDATER_FIXTURE_H_

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "fast_timing.h"
#include "support/published_library.h"
#include "support/scripted_server.h"
#include "support/temp_dir.h"
#include "update/updater.h"

namespace mtlupdate {

class UpdaterFixture : public testing::Test, protected UpdateObserver {
 protected:
  using Files = PublishedLibrary::Files;
  using Kind = Failure::Kind;

  UpdaterFixture() {
    options_.session.address = library_.address();
    options_.session.proxy = "";
    options_.folder = dir_ / "copy";
  }

  void publish(const std::string& stamp, const Files& files, bool hasDigests = true) {
    library_.publish(stamp, files, hasDigests);
  }

  Outcome update() {
    server_.forgetRequests();
    Updater updater(options_, *this, &timing_);
    return updater.update(result_);
  }
  void updateWell() {
    const Outcome failure = update();
    ASSERT_FALSE(failure) << failure->about << ": " << failure->text;
  }
  void expectFailure(Kind kind) {
    const Outcome failure = update();
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->kind, kind) << failure->text;
    failure_ = *failure;
  }

  std::vector<std::string> requests() const { return server_.requestLines(); }

  /// The files of the copy, without those of the engine.
  Files copy() const {
    Files files;
    if (!std::filesystem::exists(options_.folder)) return files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(options_.folder)) {
      const std::string path = entry.path().lexically_relative(options_.folder).generic_string();
      if (!entry.is_regular_file() || path.rfind(".mtllib", 0) == 0) continue;
      std::ifstream file(entry.path(), std::ios::binary);
      files[path] = {std::istreambuf_iterator<char>(file), {}};
    }
    return files;
  }
  /// What a copy of these files looks like.
  static Files with(const std::string& stamp, Files files) {
    files["id.txt"] = stamp;
    return files;
  }
  void write(const std::string& path, const std::string& content) const {
    const std::filesystem::path file = std::filesystem::path(options_.folder) / path;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
  }
  bool isAnythingStaged() const {
    const std::filesystem::path stage = std::filesystem::path(options_.folder) / ".mtllib/stage";
    return std::filesystem::exists(stage) && !std::filesystem::is_empty(stage);
  }

  void onPlan(const Plan& /*plan*/) override {
    if (onPlan_) onPlan_();
  }
  bool shouldContinue() override { return shouldContinue_ == nullptr || shouldContinue_(); }
  void onWarning(const std::string& text) override { warnings_.push_back(text); }
  void onSecondLook(const Failure& /*failure*/) override {
    ++secondLooks_;
    if (onSecondLook_) onSecondLook_();
  }

  TempDir dir_;
  FastTiming timing_;
  ScriptedServer server_;
  PublishedLibrary library_{server_, "/lib"};
  UpdateOptions options_;
  UpdateResult result_;
  Failure failure_{Kind::kUsage};
  std::function<bool()> shouldContinue_;
  std::function<void()> onPlan_;
  std::function<void()> onSecondLook_;
  int secondLooks_ = 0;
  std::vector<std::string> warnings_;
};

}  // namespace mtlupdate

#endif  // MTLLIB_TESTS_UPDATE_UPDATER_FIXTURE_H_
