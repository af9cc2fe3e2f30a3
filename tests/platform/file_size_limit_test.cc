// Tests a limit on file sizes, as hosts on render farms live under: it is an error like others, not
// the end of the host.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <string>

#include "platform/utf.h"
#include "platform/win32.h"
#include "support/temp_dir.h"

namespace {

class FileSizeLimit : public testing::Test {
 protected:
  FileSizeLimit() {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit small{4096, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    const Platform::WideText name = Platform::duplicateAsWide((directory_ / "file").c_str());
    file_ = CreateFileW(name.get(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  }
  ~FileSizeLimit() override {
    CloseHandle(file_);
    setrlimit(RLIMIT_FSIZE, &before_);
  }

  // All of it, or the error.
  DWORD write(const std::string& bytes) {
    DWORD written = 0;
    const BOOL done =
        WriteFile(file_, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    return done != FALSE ? ERROR_SUCCESS : GetLastError();
  }

  TempDir directory_;
  rlimit before_{};
  HANDLE file_ = nullptr;
};

TEST_F(FileSizeLimit, IsAnErrorOfTheWrite) {
  EXPECT_EQ(write(std::string(4096, 'x')), 0U);
  EXPECT_EQ(write("x"), 223U);
  EXPECT_EQ(write("x"), 223U);
}

TEST_F(FileSizeLimit, IsAnErrorOfTheCut) {
  SetFilePointer(file_, 8192, nullptr, FILE_BEGIN);
  EXPECT_EQ(SetEndOfFile(file_), FALSE);
  EXPECT_EQ(GetLastError(), 223U);
}

TEST_F(FileSizeLimit, LeavesTheSignalsOfTheHostAlone) {
  static volatile std::sig_atomic_t received;
  received = 0;
  std::signal(SIGXFSZ, [](int) { received = received + 1; });
  write(std::string(8192, 'x'));
  EXPECT_EQ(received, 0);
  std::raise(SIGXFSZ);
  EXPECT_EQ(received, 1) << "not held back any more";

  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGXFSZ);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  std::raise(SIGXFSZ);
  write("x");
  pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
  EXPECT_EQ(received, 2) << "what the host held back came through";
  std::signal(SIGXFSZ, SIG_DFL);
}

}  // namespace
