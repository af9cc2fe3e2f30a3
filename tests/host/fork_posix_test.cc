// Tests a library in a process that was forked from the one that opened it.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "fake_module_control.h"
#include "mtlhost/library.h"
#include "recording_observer.h"
#include "support/forked.h"
#include "support/scripted_server.h"
#include "support/temp_dir.h"

namespace mtlhost {
namespace {

class ForkTest : public testing::Test {
 protected:
  ForkTest() {
    server_.serve("/id.txt", "v1");
    server_.serve("/filelist.json", "[]\n");
    // Only then are there threads that the module would wait for.
    EXPECT_EQ(parent_->check().status, Result::Status::kUpdateAvailable);
  }

  std::optional<Library> open(const std::string& target) {
    Settings settings;
    settings.moduleFile = MTLLIB_MODULE;
    settings.remoteAddress = server_.address();
    settings.targetDirectory = directory_ / target;
    settings.proxyMode = PROXY_MODE_DISABLED;
    Errors problem;
    return Library::open(settings, observer_, problem);
  }

  TempDir directory_;
  ScriptedServer server_;
  RecordingObserver observer_;
  std::optional<Library> parent_ = open("parent");
};

TEST_F(ForkTest, RefusesTheLibraryOfAnotherProcess) {
  const std::string refusal = "[mtlhost] -1: the library was opened in another process";
  EXPECT_EQ(textFromFork([&] {
              return chainText(parent_->check().errors) + "\n" + chainText(parent_->run().errors);
            }),
            refusal + "\n" + refusal);
  EXPECT_EQ(parent_->run().status, Result::Status::kDone);
}

TEST_F(ForkTest, LeavesTheModulesHandlesToTheProcessThatHasThem) {
  const FakeModuleControl fake;
  Settings settings;
  settings.moduleFile = FAKE_MODULE;
  Errors problem;
  std::optional<Library> library = Library::open(settings, observer_, problem);
  EXPECT_EQ(textFromFork([&] {
              library->cancel();
              library.reset();
              return std::to_string(fake.handles());
            }),
            "2");
  library.reset();
  EXPECT_EQ(fake.handles(), 0);
}

// The thread sanitizer lets no process with threads fork one that starts threads.
#ifndef __SANITIZE_THREAD__
TEST_F(ForkTest, OpensALibraryOfItsOwn) {
  EXPECT_EQ(textFromFork([&] {
              std::optional<Library> own = open("child");
              const bool isDone = own->run().status == Result::Status::kDone;
              own.reset();
              return isDone ? "done" : observer_.lines.back();
            }),
            "done");
  EXPECT_EQ(readFile(directory_ / "child/id.txt"), "v1");
}
#endif

}  // namespace
}  // namespace mtlhost
