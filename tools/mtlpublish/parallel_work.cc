// Each thread takes the next number until there is none.
#include "mtlpublish/parallel_work.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace mtlpublish {

namespace {

// More would keep a disk seeking.
constexpr unsigned kMostThreads = 16;
constexpr std::chrono::milliseconds kReportInterval{100};

}  // namespace

void workInParallel(std::size_t count, const std::function<void(std::size_t)>& work,
                    const std::function<void()>& meanwhile) {
  std::atomic<std::size_t> next{0};
  std::mutex mutex;
  std::condition_variable ended;
  std::size_t running = 0;
  const auto workUntilNoneIsLeft = [&] {
    for (std::size_t number = next++; number < count; number = next++)
      work(number);
    const std::lock_guard lock(mutex);
    --running;
    ended.notify_one();
  };

  const std::size_t wanted = std::min<std::size_t>(
      count, std::clamp(std::thread::hardware_concurrency(), 1U, kMostThreads));
  std::vector<std::thread> threads;
  threads.reserve(wanted);
  std::unique_lock lock(mutex);
  while (threads.size() < wanted) {
    try {
      threads.emplace_back(workUntilNoneIsLeft);
      ++running;
    } catch (const std::system_error&) {
      // The system has no more to give.
      break;
    }
  }
  if (threads.empty()) {
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
  lock.unlock();
  for (std::thread& thread : threads)
    thread.join();
  meanwhile();
}

}  // namespace mtlpublish
