// Tests loading the module, and what is reported when that fails.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "fake_module_control.h"
#include "mtlhost/library.h"
#include "mtlhost/system.h"
#include "recording_observer.h"
#include "support/system_text.h"
#include "support/temp_dir.h"

namespace mtlhost {
namespace {

namespace fs = std::filesystem;

/// The name with this system's separators, from the root.
std::string native(const std::string& name) {
  return fs::absolute(fs::u8path(name)).make_preferred().u8string();
}

class OpenTest : public testing::Test {
 protected:
  std::optional<Library> open(const std::string& moduleFile) {
    Settings settings;
    settings.moduleFile = moduleFile;
    settings.usesModule = true;
    settings.remoteAddress = "everything";
    return Library::open(settings, observer_, problem_);
  }

  /// Expects a refusal; its messages, a line each.
  std::string refusalOf(const std::string& moduleFile) {
    EXPECT_FALSE(open(moduleFile));
    std::string text;
    for (const Error& error : problem_)
      text += error.message + "\n";
    EXPECT_EQ(problem_.front().tag, "mtlhost");
    EXPECT_EQ(fake_.handles(), 0);
    return text;
  }

  std::string refusalIn(const char* situation) {
    fake_.choose(situation);
    return refusalOf(FAKE_MODULE);
  }

  FakeModuleControl fake_;
  RecordingObserver observer_;
  Errors problem_;
};

TEST_F(OpenTest, TellsNothingAndLeavesNoProblem) {
  EXPECT_TRUE(open(FAKE_MODULE));
  EXPECT_TRUE(problem_.empty());
  EXPECT_TRUE(observer_.lines.empty());
}

TEST_F(OpenTest, NamesAModuleThatIsMissing) {
  const TempDir dir;
  const std::string file = native(dir / "missing.so");
  const std::string reason =
      systemText(126, "cannot open shared object file: No such file or directory");
  EXPECT_EQ(refusalOf(file), "Could not use the module \"" + file + "\"\n" + file + ": " +
                                 reason.substr(0, reason.find_last_not_of(" \r\n") + 1) + "\n");
}

TEST_F(OpenTest, CountsABareNameFromTheCurrentFolder) {
  for (const std::string name : {"libc.so.6", "version.dll"}) {
    EXPECT_THAT(refusalOf(name),
                testing::StartsWith("Could not use the module \"" + native(name) + "\"\n"));
  }
}

TEST_F(OpenTest, RefusesWhatIsNoLibrary) {
  const TempDir dir;
  const std::string file = native(dir / "text.so");
  writeFile(file, "no library");
  const std::string opening = "Could not use the module \"" + file + "\"\n";
  const std::string refusal = refusalOf(file);
  EXPECT_THAT(refusal, testing::StartsWith(opening));
  EXPECT_THAT(refusal.substr(opening.size()), testing::HasSubstr(file));
}

TEST_F(OpenTest, RefusesALibraryThatIsNoModule) {
  EXPECT_EQ(refusalOf(NO_MODULE), "Could not use the module \"" + native(NO_MODULE) +
                                      "\"\nit has no initDownloaderInterface()\n");
}

TEST_F(OpenTest, RefusesAnotherVersion) {
  EXPECT_EQ(refusalIn("version 99"), "Could not use the module \"" + native(FAKE_MODULE) +
                                         "\"\nits interface has version 99, not 100\n");
}

TEST_F(OpenTest, TellsWhyTheNetworkingDidNotStart) {
  EXPECT_EQ(refusalIn("broken context"),
            "The networking library could not be started\n[Context] -5: no TLS\n");
  EXPECT_EQ(problem_.back().code, -5);
  EXPECT_EQ(refusalIn("no context"),
            "The networking library could not be started\nout of memory\n");
}

TEST_F(OpenTest, TellsThatThereIsNoDownloader) {
  EXPECT_EQ(refusalIn("no downloader"), "Out of memory\n");
}

TEST_F(OpenTest, FindsTheModuleBesideTheProgram) {
  EXPECT_EQ(native(ownFolder() + "/" + moduleFileName()), native(MTLLIB_MODULE));
  EXPECT_TRUE(open(""));
}

TEST_F(OpenTest, TakesNoNameThatASystemCannotHave) {
  EXPECT_FALSE(open("\xFF\xFE/\x80.so"));
  EXPECT_EQ(problem_.size(), 2U);
}

TEST_F(OpenTest, GivesBackWhatItMade) {
  {
    const std::optional<Library> library = open(FAKE_MODULE);
    EXPECT_EQ(fake_.handles(), 2);
  }
  EXPECT_EQ(fake_.handles(), 0);
}

TEST_F(OpenTest, MovesWithoutMakingAnything) {
  std::optional<Library> first = open(FAKE_MODULE);
  std::optional<Library> second = open(FAKE_MODULE);
  EXPECT_EQ(fake_.handles(), 4);
  Library moved(std::move(*first));
  first.reset();
  EXPECT_EQ(fake_.handles(), 4);
  EXPECT_EQ(moved.run().status, Result::Status::kFailed);
  *second = std::move(moved);
  EXPECT_EQ(fake_.handles(), 2);
  EXPECT_EQ(second->run().status, Result::Status::kFailed);
  EXPECT_FALSE(observer_.lines.empty());
}

}  // namespace
}  // namespace mtlhost
