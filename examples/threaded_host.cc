// A host on the kit whose main thread stays free, as that of an application with a window must:
// the run is on a worker thread, and the main thread looks at it ten times a second and cancels it
// when it takes too long. usage: threaded_host MODULE URL DIRECTORY SECONDS
#include <mtlhost/library.h>
#include <mtlhost/utf8.h>

#include <chrono>
#include <cstdlib>
#include <future>
#include <iostream>
#include <mutex>
#include <string>

namespace {

using Status = mtlhost::Result::Status;
using std::chrono::steady_clock;

/// What the worker says and the main thread reads. It never waits for the main thread.
class LatestProgress final : public mtlhost::Observer {
 public:
  void progress(const mtlhost::Progress& progress) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    latest_ = progress;
  }

  mtlhost::Progress get() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return latest_;
  }

 private:
  mutable std::mutex mutex_;
  mtlhost::Progress latest_;
};

/// Returns when the run has ended, which cancelling makes sure of.
mtlhost::Result runWithin(std::chrono::seconds limit, mtlhost::Library& library,
                          const LatestProgress& progress) {
  std::future<mtlhost::Result> result =
      std::async(std::launch::async, [&library] { return library.run(); });
  const auto deadline = steady_clock::now() + limit;
  while (result.wait_for(std::chrono::milliseconds(100)) != std::future_status::ready) {
    std::cout << mtlhost::printableLine(progress.get().text) << std::endl;
    if (steady_clock::now() >= deadline) library.cancel();
  }
  return result.get();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) return 2;
  mtlhost::Settings settings;
  settings.moduleFile = argv[1];
  settings.remoteAddress = argv[2];
  settings.targetDirectory = argv[3];

  LatestProgress progress;
  mtlhost::Errors problem;
  auto library = mtlhost::Library::open(settings, progress, problem);
  if (!library) {
    for (const mtlhost::Error& error : problem)
      std::cout << mtlhost::printableLine(error.message) << '\n';
    return 2;
  }
  const mtlhost::Result result =
      runWithin(std::chrono::seconds(std::atoi(argv[4])), *library, progress);
  if (result.status == Status::kDone) {
    std::cout << "Up to date.\n";
    return 0;
  }
  if (result.status == Status::kCancelled) {
    std::cout << "Cancelled.\n";
    return 3;
  }
  for (const mtlhost::Error& error : result.errors)
    std::cout << mtlhost::printableLine(error.message) << '\n';
  return 1;
}
