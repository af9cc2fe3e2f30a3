// A RecordingObserver is an observer that records every event as a line of text.
#ifndef MTLLIB_TESTS_HOST_RECORDING_OBSERVER_H_
#define MTLLIB_TESTS_HOST_RECORDING_OBSERVER_H_

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "mtlhost/observer.h"

/// The entries newest first: "[tag] code: message | ...".
inline std::string chainText(const mtlhost::Errors& errors) {
  std::string text;
  for (const mtlhost::Error& error : errors) {
    text += (text.empty() ? "[" : " | [") + error.tag + "] " + std::to_string(error.code) + ": " +
            error.message;
  }
  return text;
}

class RecordingObserver final : public mtlhost::Observer {
 public:
  /// Everything in order: "stage: Creating download directory".
  std::vector<std::string> lines;

  /// Told of each line once it is written down. May throw. shouldContinue() has the line "go on".
  std::function<void(const std::string& line)> onLine = [](const std::string&) {};
  std::function<void(const mtlhost::FileChange& change)> onFile = [](const auto&) {};
  std::function<bool(const mtlhost::Transfer& transfer)> answer = [](const auto&) { return true; };

  void stage(const mtlhost::Message& message) override { add("stage: " + message.text()); }
  void info(const mtlhost::Message& message) override { add("info: " + message.text()); }
  void warning(const std::string& text) override { add("warning: " + text); }
  void nonFatalError(const mtlhost::Error& error) override {
    add("survived: " + chainText({error}));
  }
  void error(const mtlhost::Errors& chain) override { add("error: " + chainText(chain)); }
  void planned(const mtlhost::Plan& plan) override {
    add("planned: " + std::to_string(plan.fetched.files) + " files, " +
        std::to_string(plan.fetched.bytes) + " bytes");
  }
  void file(const mtlhost::FileChange& change) override {
    onFile(change);
    const char* const kinds[] = {"fetched", "copied", "withdrawn", "removed", "skipped"};
    add(std::string("file: ") + kinds[static_cast<int>(change.kind)] + " " + change.path + " " +
        std::to_string(change.size.value_or(-1)) + (change.reason.empty() ? "" : " ") +
        change.reason);
  }
  void waiting(std::int64_t /*process*/) override { add("waiting"); }
  // Speed and time left depend on the machine, and so does how often they alone have changed.
  void progress(const mtlhost::Progress& progress) override {
    const std::string line =
        "progress: " + progress.text + " " + std::to_string(progress.permille) + " " +
        std::to_string(progress.megabytesDone) + "/" + std::to_string(progress.megabytesTotal);
    if (std::exchange(lastProgress_, line) != line) add(line);
  }
  bool shouldContinue(const mtlhost::Transfer& transfer) override {
    add("go on");
    return answer(transfer);
  }
  void progressRange(int end) override { add("range: " + std::to_string(end)); }
  void progressValue(int value) override { add("value: " + std::to_string(value)); }
  void progressText(const std::string& caption) override {
    lastProgress_.clear();
    add("text: " + caption);
  }
  void progressBegins() override { add("begins"); }
  void progressEnds() override { add("ends"); }

 private:
  void add(const std::string& line) {
    lines.push_back(line);
    onLine(line);
  }

  std::string lastProgress_;
};

#endif  // MTLLIB_TESTS_HOST_RECORDING_OBSERVER_H_
