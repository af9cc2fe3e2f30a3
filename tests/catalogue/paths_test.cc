// Tests where the downloader puts and finds the files of a library.
#include <gtest/gtest.h>

#include <string>

#include "fakes/recording_callback.h"
#include "plugin/downloader.h"

namespace {

class FullPath : public testing::Test {
 protected:
  std::string local(const char* target, const char* relative) {
    settings.targetDirectory = target;
    return downloader.makeFullPath(relative, PathSide::kLocal).text();
  }
  std::string remote(const char* base, const char* relative) {
    downloader.remotePath = base;
    return downloader.makeFullPath(relative, PathSide::kRemote).text();
  }

  RecordingCallback callback;
  DownloaderSettings settings;
  DownloaderImpl downloader{nullptr, {}, &callback, &settings};
};

TEST_F(FullPath, JoinsTargetAndRelativePath) {
  EXPECT_EQ(local("C:\\data", "maps//./oak.tx"), "C:/data/maps/oak.tx");
  EXPECT_EQ(local("/var/lib/materials", "maps\\oak.tx"), "/var/lib/materials/maps/oak.tx");
}

TEST_F(FullPath, EncodesTheRemotePath) {
  EXPECT_EQ(remote("/lib", "a b/\xC3\xA9.png"), "/lib/a%20b/%C3%A9.png");
  EXPECT_EQ(remote("/lib", "a\\b.png"), "/lib/a/b.png");
  EXPECT_EQ(remote("/lib v2", "50%.png"), "/lib%20v2/50%25.png");
}

TEST_F(FullPath, LeavesTheLocalPathUnencoded) {
  EXPECT_EQ(local("/data", "a b/\xC3\xA9%.png"), "/data/a b/\xC3\xA9%.png");
}

TEST_F(FullPath, EndsAtTheBaseWithoutARelativePath) {
  EXPECT_EQ(remote("/lib", nullptr), "/lib");
  EXPECT_EQ(remote("/lib", ""), "/lib");
  EXPECT_EQ(local("C:\\data", nullptr), "C:/data");
  EXPECT_EQ(remote(nullptr, nullptr), "");
}

TEST_F(FullPath, StartsWithASlashWithoutABase) {
  EXPECT_EQ(remote(nullptr, "id.txt"), "/id.txt");
  EXPECT_EQ(remote("", "a/id.txt"), "/a/id.txt");
}

TEST_F(FullPath, TakesABaseThatEndsWithASlash) {
  EXPECT_EQ(remote("/lib/", "id.txt"), "/lib/id.txt");
  EXPECT_EQ(remote("/", "id.txt"), "//id.txt");
}

TEST_F(FullPath, IsEmptyWhenItWouldClimbAboveARelativeBase) {
  EXPECT_EQ(local("lib", "../../x"), "");
  EXPECT_EQ(local("lib", "../.."), "");
  EXPECT_EQ(local("lib", "..\\..\\x"), "");
  EXPECT_EQ(remote("lib", "../../x"), "");
  EXPECT_EQ(remote("lib", "../.."), "");
}

TEST_F(FullPath, IsEmptyBelowABaseThatClimbsItself) {
  EXPECT_EQ(local("..", nullptr), "");
  EXPECT_EQ(local("..\\data", "a"), "");
  EXPECT_EQ(remote("../lib", "id.txt"), "");
}

TEST_F(FullPath, KeepsTwoDotsBehindALeadingSlash) {
  EXPECT_EQ(local("/data", "../../x"), "/../x");
  EXPECT_EQ(local("/data", "../.."), "/..");
  EXPECT_EQ(remote(nullptr, "../x"), "/../x");
}

TEST_F(FullPath, CutsNothingOfALongPath) {
  for (const std::size_t length : {259, 260, 1022, 1023, 1024, 100000}) {
    const std::string name(length, 'x');
    EXPECT_EQ(local("/d", name.c_str()), "/d/" + name);
    EXPECT_EQ(remote("/d", name.c_str()), "/d/" + name);
  }
}

TEST_F(FullPath, KeepsNamesThatOnlyBeginWithTwoDots) {
  EXPECT_EQ(local("lib", "../..x"), "..x");
  EXPECT_EQ(local("lib", "../...x/y"), "...x/y");
}

TEST_F(FullPath, KeepsRootedPathsBelowTheTarget) {
  EXPECT_EQ(local("/data", "/etc/x"), "/data/etc/x");
  EXPECT_EQ(local("C:/data", "\\\\server\\share\\x"), "C:/data/server/share/x");
}

TEST_F(FullPath, KeepsTheDoubleLeadOfANetworkTarget) {
  EXPECT_EQ(local("\\\\server\\share", "a/b"), "//server/share/a/b");
}

TEST_F(FullPath, LeavesTheSettingsAlone) {
  EXPECT_EQ(local("C:\\data", "a"), "C:/data/a");
  EXPECT_STREQ(settings.targetDirectory.text(), "C:\\data");
}

}  // namespace
