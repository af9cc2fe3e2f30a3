// Brings two libraries up to date at once, each on a thread of its own. If one fails, the other
// continues. usage: two_libraries URL DIRECTORY URL DIRECTORY
#include <mtlhost/library.h>
#include <mtlhost/utf8.h>

#include <future>
#include <iostream>
#include <mutex>
#include <string>
#include <utility>

namespace {

/// Prints whole lines, whichever threads they come from.
void print(const std::string& line) {
  static std::mutex mutex;
  const std::lock_guard<std::mutex> lock(mutex);
  std::cout << mtlhost::printableLine(line) << std::endl;
}

/// Observers are called on the threads of their library, never on two at a time. Each library has
/// an observer of its own, so its fields need no lock.
class Shown final : public mtlhost::Observer {
 public:
  explicit Shown(std::string name) : name_(std::move(name)) {}

  void progress(const mtlhost::Progress& progress) override {
    if (progress.text == phase_) return;
    phase_ = progress.text;
    print(name_ + ": " + phase_);
  }

 private:
  const std::string name_;
  std::string phase_;
};

bool bringUpToDate(const std::string& address, const std::string& folder) {
  mtlhost::Settings settings;
  settings.remoteAddress = address;
  settings.targetDirectory = folder;
  Shown shown(folder);
  mtlhost::Errors errors;
  auto library = mtlhost::Library::open(settings, shown, errors);
  if (library) errors = library->run().errors;
  if (errors.empty()) {
    print(folder + ": Up to date.");
    return true;
  }
  print(folder + ": " + errors.front().sentence + ' ' + errors.front().hint);
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) return 2;
  auto first = std::async(std::launch::async, bringUpToDate, argv[1], argv[2]);
  const bool isSecondDone = bringUpToDate(argv[3], argv[4]);
  return first.get() && isSecondDone ? 0 : 1;
}
