// Runs every test twice and expects it to leave no memory behind the second time. The first time
// allocates what is allocated once for the whole process.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <future>
#include <optional>
#include <thread>
#include <vector>

#include "support/counting_allocator.h"

namespace {

/// Counts from before a test's fixture is made until it is gone, and with it downloader and
/// network context: what is left then is the library's.
class NothingLeft : public testing::EmptyTestEventListener {
 private:
  void OnTestIterationStart(const testing::UnitTest& /*unitTest*/, int iteration) override {
    counts_ = iteration > 0;
  }
  void OnTestStart(const testing::TestInfo& /*test*/) override {
    if (counts_) count_.emplace();
  }
  void OnTestEnd(const testing::TestInfo& test) override {
    if (!count_) return;
    const std::size_t left = count_->outstanding();
    count_.reset();
    // A failure that was recorded takes memory as well.
    if (test.result()->Passed()) {
      EXPECT_EQ(left, 0U) << "blocks are left";
    }
  }

  bool counts_ = false;
  std::optional<AllocationCount> count_;
};

// Some thread libraries keep the records of threads that ended for threads to come, so
// there must once have been more of them than any test has at a time.
void startManyThreads() {
  constexpr int kThreads = 64;
  std::promise<void> started;
  const std::shared_future<void> allStarted = started.get_future().share();
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int i = 0; i < kThreads; ++i)
    threads.emplace_back([allStarted] { allStarted.wait(); });
  started.set_value();
  for (std::thread& thread : threads)
    thread.join();
}

}  // namespace

int main(int argumentCount, char** arguments) {
  testing::InitGoogleMock(&argumentCount, arguments);
  startManyThreads();
  GTEST_FLAG_SET(repeat, 2);
  testing::UnitTest::GetInstance()->listeners().Append(new NothingLeft);
  return RUN_ALL_TESTS();
}
