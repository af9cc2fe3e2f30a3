// A DownloaderFixture has a downloader and what it needs: a host, settings, a network, a directory.
#ifndef MTLLIB_TESTS_FAKES_DOWNLOADER_FIXTURE_H_
#define MTLLIB_TESTS_FAKES_DOWNLOADER_FIXTURE_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>

#include "catalogue/list_file.h"
#include "fakes/fake_networking.h"
#include "fakes/recording_callback.h"
#include "http/http_getter.h"
#include "plugin/downloader.h"
#include "qutils/mem_stream.h"
#include "support/temp_dir.h"

/// Synchronises http://h/lib into a directory of its own, without a proxy.
class DownloaderFixture : public testing::Test {
 protected:
  DownloaderFixture() {
    settings.remoteAddress = "http://h/lib";
    settings.proxyMode = PROXY_MODE_DISABLED;
    settings.targetDirectory = directory.path().generic_u8string().c_str();
  }
  ~DownloaderFixture() override {
    if (downloader.httpGetter != nullptr) destroyHttpGetter(downloader.httpGetter, true);
  }

  /// Makes the getter, and forgets what was said and done for it.
  void startGetter() {
    ASSERT_EQ(downloader.initHttpGetter(), 0);
    callback.clear();
    network.clearLog();
  }

  /// The content of the file `name` of the target directory.
  std::string localFile(const std::string& name) const { return readFile(directory / name); }

  std::map<std::string, std::string> localTree() const { return readTree(directory / ""); }

  FakeNetwork network;
  RecordingCallback callback;
  TempDir directory;
  DownloaderSettings settings;
  DownloaderImpl downloader{nullptr, {}, &callback, &settings};
};

/// Puts `content` into a stream, positioned at its end as after a download.
inline void fill(QUtils::PStream& stream, const std::string& content) {
  std::uint32_t written = 0;
  const ErrorChain error =
      stream.Write(content.data(), static_cast<std::uint32_t>(content.size()), written);
  ASSERT_FALSE(error) << chainText(error);
  ASSERT_EQ(written, content.size());
}

/// What a stream holds.
inline std::string contentOf(QUtils::PStream& stream) {
  std::string content(static_cast<std::size_t>(stream.GetSize()), '\0');
  stream.Seek(0);
  const ErrorChain error =
      stream.ReadBuffer(content.data(), static_cast<std::uint32_t>(content.size()));
  EXPECT_FALSE(error) << chainText(error);
  return content;
}

#endif  // MTLLIB_TESTS_FAKES_DOWNLOADER_FIXTURE_H_
