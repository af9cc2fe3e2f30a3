// Tests updates while memory runs out. On Windows the thread library itself ends the process when
// it gets none.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "fast_timing.h"
#include "support/counting_allocator.h"
#include "support/published_library.h"
#include "support/temp_dir.h"
#include "update/transfers.h"
#include "update/updater.h"

namespace {

// Where copies cost nothing to be made durable, if there is such a place.
std::filesystem::path quickFolder() {
  const std::filesystem::path inMemory("/dev/shm");
  return std::filesystem::exists(inMemory) ? inMemory : std::filesystem::temp_directory_path();
}

/// A library of two releases, and its copy.
class Update : mtlupdate::UpdateObserver {
 public:
  Update() {
    options_.session.address = library_.address();
    options_.session.proxy = "";
    options_.session.connections = 2;
    options_.folder = dir_ / "copy";
    options_.prune = true;
    options_.pruneMost = true;
  }

  /// The list has a digest of all but the last file.
  void publish(const std::string& stamp, const PublishedLibrary::Files& files) {
    files_ = files;
    stamp_ = stamp;
    library_.publish(stamp, files);
    std::string list = library_.list();
    const std::size_t digest = list.rfind(",\"sha256\"");
    list.erase(digest, list.rfind('}') - digest);
    server_.serve("/lib/filelist.json", list);
  }

  mtlupdate::Outcome run(FailingAllocation* failing = nullptr) {
    FastTiming timing;
    mtlupdate::Updater updater(options_, *this, &timing);
    mtlupdate::UpdateResult result;
    if (failing != nullptr) failing->arm();
    mtlupdate::Outcome failure = updater.update(result);
    if (failing != nullptr) failing->disarm();
    return failure;
  }

  bool isWhole() const {
    bool isSame = readFile(options_.folder + "/id.txt") == stamp_;
    for (const auto& [name, content] : files_)
      isSame = isSame && readFile(options_.folder + "/" + name) == content;
    return isSame;
  }

 private:
  ScriptedServer server_;
  PublishedLibrary library_{server_, "/lib"};
  TempDir dir_{quickFolder()};
  mtlupdate::UpdateOptions options_;
  PublishedLibrary::Files files_;
  std::string stamp_;
};

// Whichever allocation fails, on whichever thread: the run ends, with success or as what it is, and
// the next one completes.
TEST(Memory, ThatRunsOutEndsAnUpdateAndNothingElse) {
  const std::string large(3 * mtlupdate::kWorthHandingOver, 'L');
  const PublishedLibrary::Files old{
      {"kept.txt", "kept"}, {"changed.txt", "old"}, {"moved/from.txt", large}, {"without", "old"}};
  const PublishedLibrary::Files fresh{{"kept.txt", "kept"},
                                      {"changed.txt", "new"},
                                      {"moved/to.txt", large},
                                      {"folder/large.bin", large + "new"},
                                      {"without", "new"}};
  const int failures = failEachAllocation([&](FailingAllocation& failing) {
    Update update;
    update.publish("first", old);
    ASSERT_FALSE(update.run());
    update.publish("second", fresh);
    const mtlupdate::Outcome failure = update.run(&failing);
    if (failure) {
      EXPECT_EQ(failure->kind, mtlupdate::Failure::Kind::kMemory) << failure->text;
      EXPECT_TRUE(failing.happened());
    } else {
      EXPECT_TRUE(update.isWhole());
    }
    ASSERT_FALSE(update.run());
    EXPECT_TRUE(update.isWhole());
  });
  EXPECT_GT(failures, 100);
}

}  // namespace
