// Tests finding out which file of the library was not received, when the module does not say.
#include "requested_files.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <filesystem>

#include "support/temp_dir.h"

namespace mtlhost {
namespace {

class RequestedFilesTest : public testing::Test {
 protected:
  void save(const std::string& name, const std::string& content) {
    writeFile(folder_ / name, content);
  }

  TempDir folder_;
  std::array<char, 5> requests_{};
  RequestedFiles files_;
};

TEST_F(RequestedFilesTest, IsTheOnlyOneThatIsLeft) {
  files_.begin("a");
  files_.receive(&requests_[0], 0);
  EXPECT_EQ(files_.failedFile(folder_ / ""), "a");
}

TEST_F(RequestedFilesTest, IsTheFirstThatWasNotSaved) {
  for (const char* name : {"a", "b", "c"})
    files_.begin(name);
  files_.receive(&requests_[0], 1);
  files_.receive(&requests_[1], 9);
  files_.receive(&requests_[2], 1);
  save("a", "x");
  EXPECT_EQ(files_.failedFile(folder_.path().u8string()), "b");
  save("b", "short");
  EXPECT_EQ(files_.failedFile(folder_.path().u8string()), "b") << "has another size";
  save("b", "123456789");
  EXPECT_EQ(files_.failedFile(folder_.path().u8string()), "c");
}

TEST_F(RequestedFilesTest, GoesByTheOrderOfRequestsNotOfTheList) {
  files_.begin("a");
  files_.begin("b");
  files_.receive(&requests_[0], 1);
  files_.receive(&requests_[1], 1);
  files_.save("a");
  files_.begin("c");
  EXPECT_EQ(files_.failedFile(folder_.path().u8string()), "c") << "took the request of a";
  files_.receive(&requests_[0], 1);
  save("c", "x");
  EXPECT_EQ(files_.failedFile(folder_.path().u8string()), "b");
}

TEST_F(RequestedFilesTest, DoesNotTakeAnOldFileForASavedOne) {
  save("a", "x");
  std::filesystem::last_write_time(
      folder_.path() / "a", std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
  files_.begin("a");
  files_.begin("b");
  files_.receive(&requests_[0], 1);
  files_.receive(&requests_[1], 1);
  EXPECT_EQ(files_.failedFile(folder_.path().u8string()), "a");
}

TEST_F(RequestedFilesTest, KnowsLossyMapsByTheNameOfTheOtherOne) {
  files_.begin("a.jpeg.tx");
  files_.begin("b");
  files_.receive(&requests_[0], 1);
  files_.receive(&requests_[1], 1);
  save("a.tx", "x");
  EXPECT_EQ(files_.failedFile(folder_.path().u8string()), "b");
  files_.save("a.tx");
  files_.begin("c");
  EXPECT_EQ(files_.failedFile(folder_.path().u8string()), "c");
}

TEST_F(RequestedFilesTest, IsNoneWhenNothingIsLeft) {
  EXPECT_EQ(files_.failedFile(folder_.path().u8string()), "");
}

}  // namespace
}  // namespace mtlhost
