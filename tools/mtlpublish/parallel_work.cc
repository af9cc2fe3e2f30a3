// Runs the threads, each of which takes the next number until there are no more.
#include "mtlpublish/parallel_work.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace mtlpublish {

namespace {

// More would keep a disk seeking.
constexpr unsigned kMostThreads = 16;
constexpr std::chrono::milliseconds kReportInterval{100};

/// Ends the work and waits for its threads, whatever happens.
class Threads {
 public:
  Threads(std::size_t most, std::atomic<std::size_t>& next, std::size_t end)
      : next_(next), end_(end) {
    threads_.reserve(most);
  }
  ~Threads() {
    next_ = end_;
    for (std::thread& thread : threads_)
      thread.join();
  }
  Threads(const Threads&) = delete;
  Threads& operator=(const Threads&) = delete;

  /// False when the system has no more to give.
  template <typename Body>
  bool start(Body body) {
    try {
      threads_.emplace_back(body);
      return true;
    } catch (const std::exception&) {
      return false;
    }
  }

 private:
  std::vector<std::thread> threads_;
  std::atomic<std::size_t>& next_;
  const std::size_t end_;
};

}  // namespace

void workInParallel(std::size_t count, const std::function<void(std::size_t)>& work,
                    const std::function<void()>& meanwhile) {
  std::atomic<std::size_t> next{0};
  std::mutex mutex;
  std::condition_variable ended;
  std::size_t running = 0;
  std::exception_ptr thrown;
  // Nothing may leave a thread.
  const auto workUntilNoneIsLeft = [&]() noexcept {
    std::exception_ptr failure;
    try {
      for (std::size_t number = next++; number < count; number = next++)
        work(number);
    } catch (...) {
      failure = std::current_exception();
      next = count;
    }
    const std::lock_guard lock(mutex);
    if (!thrown) thrown = failure;
    --running;
    ended.notify_one();
  };

  const std::size_t wanted = std::min<std::size_t>(
      count, std::clamp(std::thread::hardware_concurrency(), 1U, kMostThreads));
  Threads threads(wanted, next, count);
  std::unique_lock lock(mutex);
  for (running = 0; running < wanted && threads.start(workUntilNoneIsLeft); ++running) {
  }
  if (running == 0) {
    running = 1;
    lock.unlock();
    workUntilNoneIsLeft();
    lock.lock();
  }
  while (!ended.wait_for(lock, kReportInterval, [&] { return running == 0; })) {
    lock.unlock();
    meanwhile();
    lock.lock();
  }
  if (thrown) std::rethrow_exception(thrown);
  lock.unlock();
  meanwhile();
}

}  // namespace mtlpublish
