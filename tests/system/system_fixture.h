// The fixture of the system tests is a host: it has the library's table, a scripted server, a
// directory, and a transcript of everything that the library reports, requests and leaves on disk.
#ifndef MTLLIB_TESTS_SYSTEM_SYSTEM_FIXTURE_H_
#define MTLLIB_TESTS_SYSTEM_SYSTEM_FIXTURE_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "fakes/recording_callback.h"
#include "library_under_test.h"
#include "mtllib/downloader_interface.h"
#include "support/scripted_server.h"
#include "support/temp_dir.h"
#include "support/transcript.h"

/// Synchronises /lib of the server into "target", without a proxy.
///
/// The transcript holds, in the order in which they happened:
///   on disk: target/id.txt "v1"       what the directory holds, before the first call into
///                                     the library and after each
///   runDownload()                     a call into the library
///   logInfo("Target: \"%s\"", "x")    what the host was told: the format, its arguments
///   GET /lib/id.txt HTTP/1.1 [...]    what the server was asked: the whole head
///   returned 0                        what the call returned
/// DIR stands for the directory, SERVER for the server's address and port. isAborted() is
/// left out: how often it is asked depends on the time that things take.
///
/// Five requests run at once, yet the order is always the same: this host is slow, it hears
/// of a file only when the requests before it have reached the server. Tests whose files
/// have sizes say in which order the server answers, for progress is told while others run.
class SystemTest : public testing::Test {
 protected:
  SystemTest();
  ~SystemTest() override;

  /// Made by the first call.
  DownloaderImpl* downloader();
  int run();
  int check();

  /// Publishes a stamp and a list, to which the newline that it must end with is added.
  void publish(const std::string& stamp, const std::string& list);
  /// Publishes the files "f0", "f1" and so on, of ten bytes each, and a list of them.
  void publishFiles(int count);

  /// Lets the server answer requests for `path` only once a line of the transcript begins
  /// with `beginning`. A run that waits for a line that never comes is aborted in the end.
  void answer(const std::string& path, const std::string& beginning);

  /// Begins the transcript anew, with what is on disk before the next call into the library.
  void beginTranscript();

  /// Adds what is on disk now.
  void describeDisk();

  /// Compares the whole transcript with the lines of `expected`, whose indentation does not
  /// count.
  void expectTranscript(const std::string& expected) const;

  std::string target(const std::string& name) const { return target_ + "/" + name; }

  LibraryUnderTest module_;
  DownloaderInterface library_{};
  TempDir directory_;
  std::string target_;
  Transcript transcript_;
  ScriptedServer server_;
  RecordingCallback callback_;
  DownloaderSettings settings_;

 private:
  int enter(const char* name, std::int32_t (*entry)(DownloaderImpl* downloader));
  void hear(const CallbackCall& call);

  NetworkContext* context_ = nullptr;
  DownloaderImpl* downloader_ = nullptr;
  bool entered_ = false;
  std::chrono::steady_clock::time_point begin_;  ///< Of the call into the library.
  std::size_t awaitedRequests_ = 0;
};

#endif  // MTLLIB_TESTS_SYSTEM_SYSTEM_FIXTURE_H_
