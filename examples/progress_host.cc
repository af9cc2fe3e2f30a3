// A host on the bare contract with everything that a progress dialog shows: a caption, a bar with
// a range and a value, the current step, and finally what went wrong. Ctrl-C takes the place of
// its "Cancel" button. Where a dialog would draw, it prints a line.
//
// usage: progress_host MODULE URL DIRECTORY
#include <atomic>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string>

#include "load_module.h"

namespace {

using Krell::Networking::ReqTokenGeneralType;
using Krell::Networking::Response;
using Krell::Networking::TransferProgress;

std::atomic<bool> cancelled{false};

// Messages hold names that the server chose, which could give a terminal commands.
std::string printable(const std::string& text) {
  std::string result;
  for (const char c : text) {
    char escaped[8];
    std::snprintf(escaped, sizeof(escaped), c >= ' ' && c <= '~' ? "%c" : "\\x%02X",
                  static_cast<unsigned char>(c));
    result += escaped;
  }
  return result;
}

std::string filledIn(const char* format, std::va_list arguments) {
  std::va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, again);
  va_end(again);
  if (length < 0) return format;
  std::string text(static_cast<std::size_t>(length) + 1, '\0');
  std::vsnprintf(text.data(), text.size(), format, arguments);
  text.pop_back();
  return printable(text);
}

/// Progress and isAborted() come on a thread of the library, the rest on the one that called
/// in: what both use is behind a mutex.
class ProgressDialog final : public HostCallback {
 public:
  void setProgressRange(int end) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    range_ = end;
  }

  void setProgressValue(int value) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    value_ = value;
    draw();
  }

  void setProgressText(const char* caption) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    caption_ = printable(caption);
    draw();
  }

  // How far it is, is known from here on. Before, a dialog shows a bar that only moves.
  void beginProgress() override {
    const std::lock_guard<std::mutex> lock(mutex_);
    hasBar_ = true;
  }

  // Comes for every phase, also for those without a bar.
  void endProgress() override {
    const std::lock_guard<std::mutex> lock(mutex_);
    hasBar_ = false;
  }

  int isAborted(ReqTokenGeneralType* /*request*/, TransferProgress* /*progress*/,
                Response* /*response*/) override {
    return cancelled ? 1 : 0;
  }

  void logStage(const char* format, ...) override {
    std::va_list arguments;
    va_start(arguments, format);
    std::printf("  %s\n", filledIn(format, arguments).c_str());
    va_end(arguments);
  }

  void logInfo(const char* format, ...) override {
    std::va_list arguments;
    va_start(arguments, format);
    std::printf("  (%s)\n", filledIn(format, arguments).c_str());
    va_end(arguments);
  }

  void logTaggedError(const char* /*tag*/, int /*code*/, const char* format, ...) override {
    std::va_list arguments;
    va_start(arguments, format);
    std::printf("Warning: %s\n", filledIn(format, arguments).c_str());
    va_end(arguments);
  }

  // A run may fail with nothing but a warning.
  void logWarning(const char* format, ...) override {
    std::va_list arguments;
    va_start(arguments, format);
    lastWarning_ = filledIn(format, arguments);
    va_end(arguments);
    std::printf("Warning: %s\n", lastWarning_.c_str());
  }

  // Kept, to be shown when the run has returned.
  void reportError(ErrorChain* chain) override { failure_ = *chain; }

  /// What was being done, and the first cause.
  std::string failure() const {
    if (!failure_) return lastWarning_.empty() ? "The run failed." : lastWarning_;
    const ErrorRecord* cause = failure_.head;
    while (cause->next != nullptr)
      cause = cause->next;
    std::string text = failure_.head->message;
    if (cause != failure_.head) text += std::string(": ") + cause->message;
    return printable(text);
  }

 private:
  void draw() const {
    if (hasBar_) std::printf("[%3d%%] ", value_ < range_ ? value_ * 100 / range_ : 100);
    std::printf("%s\n", caption_.c_str());
    std::fflush(stdout);
  }

  std::mutex mutex_;
  int range_ = 1;
  int value_ = 0;
  std::string caption_;
  bool hasBar_ = false;
  std::string lastWarning_;
  ErrorChain failure_;
};

/// 0 done, 1 failed, 3 cancelled, each of them told.
int synchronise(const DownloaderInterface& mtllib, DownloaderSettings& settings) {
  ProgressDialog dialog;
  DownloaderImpl* downloader = mtllib.createDownloader(&dialog, &settings);
  const int result = mtllib.runDownload(downloader);
  mtllib.destroyDownloader(downloader);
  if (result >= 0) {
    std::puts("Up to date.");
    return 0;
  }
  std::puts(cancelled ? "Cancelled." : dialog.failure().c_str());
  return cancelled ? 3 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  const auto init = argc == 4 ? loadModule(argv[1]) : nullptr;
  if (init == nullptr) return 2;
  DownloaderInterface mtllib;
  init(&mtllib);
  if (mtllib.version != DOWNLOADER_INTERFACE_VERSION) return 2;
  std::signal(SIGINT, [](int) { cancelled = true; });

  NetworkContext* network = mtllib.createNetworkContext();
  char status[1024];
  int result = 2;
  if (mtllib.getKrellNetworkingStatus(network, sizeof(status), status) != 0) {
    std::puts(status);
  } else {
    DownloaderSettings settings;
    settings.remoteAddress = argv[2];
    settings.targetDirectory = argv[3];
    result = synchronise(mtllib, settings);
  }
  mtllib.destroyNetworkContext(network);
  return result;
}
