// An application that checks for an update when it starts. The check runs on a thread of its own:
// the window opens at once, keeps being drawn, and shows the result when it arrives. Closing the
// window cancels a check that is under way. usage: background_check URL DIRECTORY SECONDS
// There is no real window: each time it would be drawn, a line is printed. It closes after SECONDS.
#include <mtlhost/library.h>

#include <chrono>
#include <cstdlib>
#include <future>
#include <iostream>
#include <optional>
#include <thread>

namespace {

using mtlhost::Result;
using std::chrono::steady_clock;

/// A check that runs on a thread of its own. The destructor cancels it if it is still running.
class BackgroundCheck {
 public:
  explicit BackgroundCheck(mtlhost::Library& library)
      : library_(library),
        result_(std::async(std::launch::async, [&library] { return library.check(); })) {}
  ~BackgroundCheck() {
    if (result_.valid()) library_.cancel();  // Then the future waits for the thread.
  }
  BackgroundCheck(const BackgroundCheck&) = delete;
  BackgroundCheck& operator=(const BackgroundCheck&) = delete;

  /// The result, once; empty until there is one. Never waits.
  std::optional<Result> take() {
    if (!result_.valid()) return std::nullopt;
    if (result_.wait_for(std::chrono::seconds(0)) != std::future_status::ready) return std::nullopt;
    return result_.get();
  }

 private:
  mtlhost::Library& library_;
  std::future<Result> result_;
};

/// Nobody asked for the check, so a window shows this in its status line, not in a dialog.
int show(const Result& result) {
  if (result.status == Result::Status::kUpdateAvailable) {
    std::cout << "An update is available.\n";
    return 0;
  }
  if (result.status == Result::Status::kDone) {
    std::cout << "The materials are up to date.\n";
    return 0;
  }
  std::cout << result.errors.front().sentence << '\n' << result.errors.front().hint << '\n';
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  mtlhost::Settings settings;
  settings.remoteAddress = argv[1];
  settings.targetDirectory = argv[2];
  mtlhost::Observer silent;
  mtlhost::Errors problem;
  auto library = mtlhost::Library::open(settings, silent, problem);
  if (!library) {
    std::cout << problem.front().sentence << '\n' << problem.front().hint << '\n';
    return 2;
  }

  BackgroundCheck check(*library);
  const auto closing = steady_clock::now() + std::chrono::seconds(std::atoi(argv[3]));
  while (steady_clock::now() < closing) {
    std::cout << "The window is drawn." << std::endl;
    if (const std::optional<Result> result = check.take()) return show(*result);
    // An application returns to its event loop here, and looks again when a timer fires.
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  std::cout << "The window is closed." << std::endl;
  return 3;
}
