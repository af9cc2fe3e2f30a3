// How much memory the engine takes for libraries of many files.
#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <numeric>
#include <string>
#include <vector>

#include "fast_timing.h"
#include "support/counting_allocator.h"
#include "support/published_library.h"
#include "support/temp_dir.h"
#include "update/list_reader.h"
#include "update/transfers.h"
#include "update/updater.h"

namespace {

using mtlupdate::Entry;
using mtlupdate::Listing;

constexpr std::size_t kFiles = 20'000;
constexpr std::size_t kMostBytesAFile = 300;

std::string pathOf(std::size_t number) {
  return "materials/metal/brushed_aluminium_" + std::to_string(100'000 + number) +
         "/maps/basecolor_4096_linear.tx";
}

// Nothing that a listing takes is given back before its end.
TEST(Memory, OfAListingIsSmall) {
  const AllocationCount count;
  Listing listing;
  for (std::size_t i = 0; i < kFiles; ++i) {
    const std::string path = pathOf(i);
    Entry entry;
    entry.path = path;
    entry.remotePath = path;
    entry.sha256.emplace();
    listing.add(entry);
  }
  std::size_t bytes = 0;
  for (const std::size_t size : count.sizes())
    bytes += size;
  EXPECT_LE(bytes, kFiles * kMostBytesAFile);
}

// Each entry is 20 times as long as what is kept of it, so that a reader that kept more than one
// at a time would be found out.
TEST(Memory, OfReadingAListIsThatOfItsEntriesWhateverTheirTextIs) {
  Listing listing;
  mtlupdate::ListReader reader(listing);
  const std::string filling =
      "\"note\":\"" + std::string(5000, 'x') + "\",\"more\":[" + std::string(400, ' ') + "1,2,3]}";
  EXPECT_FALSE(reader.feed("["));
  std::size_t blocksOfFirst = 0;
  for (std::size_t i = 0; i < 200; ++i) {
    const std::string entry =
        (i > 0 ? ",{\"path\":\"" : "{\"path\":\"") + pathOf(i) + "\"," + filling;
    const AllocationCount count;
    ASSERT_FALSE(reader.feed(entry));
    if (i <= 1) blocksOfFirst = count.outstanding();
    EXPECT_LE(count.outstanding(), blocksOfFirst + 2) << i;
  }
  EXPECT_FALSE(reader.feed("]\n"));
  EXPECT_FALSE(reader.finish());
  EXPECT_EQ(listing.size(), 200U);
}

// What a list takes most of its time for is the entries as publishers write them: nothing is taken
// for one but what is kept of it.
TEST(Memory, IsNotTakenForEachPlainEntry) {
  Listing listing;
  mtlupdate::ListReader reader(listing);
  const auto textOf = [](std::size_t number) {
    return (number > 0 ? ",{\"download\":\"always\",\"path\":\"" : "[{\"path\":\"") +
           pathOf(number) + "\",\"sha256\":\"" + std::string(64, 'a') + "\",\"size\":4096}\n";
  };
  ASSERT_FALSE(reader.feed(textOf(0)));
  ASSERT_FALSE(reader.feed(textOf(1)));
  std::string text;
  constexpr std::size_t kEntries = 10'000;
  for (std::size_t i = 2; i < kEntries; ++i)
    text += textOf(i);
  const AllocationCount count;
  ASSERT_FALSE(reader.feed(text));
  EXPECT_LE(count.sizes().size(), kEntries / 20);
  ASSERT_FALSE(reader.feed("]\n"));
  ASSERT_FALSE(reader.finish());
  EXPECT_EQ(listing.size(), kEntries);
}

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
