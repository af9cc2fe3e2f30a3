// A RecordingCallback is the callback object of a host that records every call.
#ifndef MTLLIB_TESTS_FAKES_RECORDING_CALLBACK_H_
#define MTLLIB_TESTS_FAKES_RECORDING_CALLBACK_H_

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "mtllib/host_callback.h"
#include "support/call_text.h"

/// The text of a chain: the records newest first, " | " between them.
inline std::string chainText(const ErrorChain& chain) {
  if (!chain) return "No error";
  std::string text;
  for (const ErrorRecord* record = chain.head; record != nullptr; record = record->next) {
    if (record != chain.head) text += " | ";
    if (record->tag != nullptr) text += "[" + std::string(record->tag) + "] ";
    text += std::to_string(record->code);
    if (record->message[0] != '\0') text += ": " + std::string(record->message);
  }
  return text;
}

/// One call of the library.
struct CallbackCall {
  std::string operation;  ///< "logStage".
  std::string text;       ///< The caption, the formatted text or the chain's text.
  std::string format;     ///< As passed; empty for operations that take none.
  std::string tag;        ///< Of logTaggedError.
  long long value = 0;    ///< Range, thousandths, code, or the bytes told to isAborted.
  /// All of them, as source code would have them; of reportError, the tag, code and
  /// message of each record, newest first.
  std::vector<std::string> arguments;

  /// The call as source code would have it. Of a chain every record but the newest has a
  /// line of its own: "over(tag, code, message)".
  std::string sourceText() const {
    std::string list;
    for (const std::string& argument : arguments) {
      if (!list.empty()) list += operation == "reportError" ? ")\nover(" : ", ";
      list += argument;
    }
    return operation + "(" + list + ")";
  }

  /// One line of a transcript: "logStage: Creating download directory".
  std::string line() const {
    if (operation == "beginProgress" || operation == "endProgress") return operation;
    if (operation == "logTaggedError") {
      return operation + ": [" + tag + "] " + std::to_string(value) + ": " + text;
    }
    const bool hasText = operation != "setProgressRange" && operation != "setProgressValue" &&
                         operation != "isAborted";
    return operation + ": " + (hasText ? text : std::to_string(value));
  }
};

/// Records every call in order. May be called by several threads at once.
class RecordingCallback final : public HostCallback {
 public:
  using Request = Krell::Networking::ReqTokenGeneralType;
  using Progress = Krell::Networking::TransferProgress;
  using Response = Krell::Networking::Response;

  /// Answers isAborted(); without one the answer is 0. Set while nothing runs.
  std::function<int(Request* request, Progress* progress, Response* response)> abortAnswer;

  /// Told of every call once it is recorded, on the thread that makes it. Set while
  /// nothing runs.
  std::function<void(const CallbackCall& call)> observer;

  std::vector<CallbackCall> calls() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return calls_;
  }

  /// Every call but isAborted, a line each.
  std::vector<std::string> transcript() const {
    return lines([](const CallbackCall& call) { return call.operation != "isAborted"; });
  }

  /// The logged texts and reported errors only, a line each: what does not depend on
  /// how fast the data arrived.
  std::vector<std::string> messages() const {
    return lines([](const CallbackCall& call) {
      return call.operation.compare(0, 3, "log") == 0 || call.operation == "reportError";
    });
  }

  /// What one operation was told, in order: texts, or values for setProgressValue and
  /// setProgressRange.
  std::vector<std::string> textsOf(const std::string& operation) const {
    std::vector<std::string> texts;
    for (const CallbackCall& call : calls()) {
      if (call.operation != operation) continue;
      const bool isValue = operation == "setProgressValue" || operation == "setProgressRange";
      texts.push_back(isValue ? std::to_string(call.value) : call.text);
    }
    return texts;
  }

  /// The texts of the chains reported.
  std::vector<std::string> errors() const { return textsOf("reportError"); }

  /// Copies of the chains reported. Use them when the call into the library is over.
  std::vector<ErrorChain> chains() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return chains_;
  }

  std::size_t count(const std::string& operation) const { return textsOf(operation).size(); }

  void clear() {
    const std::lock_guard<std::mutex> lock(mutex_);
    calls_.clear();
    chains_.clear();
  }

  void setProgressRange(int end) override { recordValue("setProgressRange", end); }
  void setProgressValue(int permille) override { recordValue("setProgressValue", permille); }
  void setProgressText(const char* text) override {
    const std::string shown = text != nullptr ? text : "(null)";
    record({"setProgressText", shown, "", "", 0, {stringLiteral(shown)}});
  }
  int isAborted(Request* request, Progress* progress, Response* response) override {
    record({"isAborted", "", "", "", progress != nullptr ? progress->receivedBytes : -1, {}});
    return abortAnswer ? abortAnswer(request, progress, response) : 0;
  }
  void beginProgress() override { record({"beginProgress", "", "", "", 0, {}}); }
  void endProgress() override { record({"endProgress", "", "", "", 0, {}}); }
  void logStage(const char* format, ...) override {
    std::va_list arguments;
    va_start(arguments, format);
    recordFormatted({"logStage", "", format, "", 0, {stringLiteral(format)}}, arguments);
    va_end(arguments);
  }
  void logTaggedError(const char* tag, int code, const char* format, ...) override {
    std::va_list arguments;
    va_start(arguments, format);
    const std::string shown = tag != nullptr ? tag : "(null)";
    recordFormatted({"logTaggedError",
                     "",
                     format,
                     shown,
                     code,
                     {stringLiteral(shown), std::to_string(code), stringLiteral(format)}},
                    arguments);
    va_end(arguments);
  }
  void reportError(ErrorChain* chain) override {
    CallbackCall call{"reportError", chainText(*chain), "", "", 0, {}};
    for (const ErrorRecord* record = chain->head; record != nullptr; record = record->next) {
      call.arguments.push_back((record->tag != nullptr ? stringLiteral(record->tag) : "null") +
                               ", " + std::to_string(record->code) + ", " +
                               stringLiteral(record->message));
    }
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      chains_.push_back(*chain);
    }
    record(call);
  }
  void logWarning(const char* format, ...) override {
    std::va_list arguments;
    va_start(arguments, format);
    recordFormatted({"logWarning", "", format, "", 0, {stringLiteral(format)}}, arguments);
    va_end(arguments);
  }
  void logInfo(const char* format, ...) override {
    std::va_list arguments;
    va_start(arguments, format);
    recordFormatted({"logInfo", "", format, "", 0, {stringLiteral(format)}}, arguments);
    va_end(arguments);
  }

 private:
  template <typename Accept>
  std::vector<std::string> lines(Accept accept) const {
    std::vector<std::string> result;
    for (const CallbackCall& call : calls()) {
      if (accept(call)) result.push_back(call.line());
    }
    return result;
  }

  void record(const CallbackCall& call) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      calls_.push_back(call);
    }
    if (observer) observer(call);
  }

  void recordValue(const char* operation, int value) {
    record({operation, "", "", "", value, {std::to_string(value)}});
  }

  // Completes the call by its text and what the format takes.
  void recordFormatted(CallbackCall call, std::va_list arguments) {
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, call.format.c_str(), again);
    va_end(again);
    call.text.resize(static_cast<std::size_t>(length < 0 ? 0 : length));
    va_copy(again, arguments);
    if (length > 0)
      std::vsnprintf(call.text.data(), call.text.size() + 1, call.format.c_str(), again);
    va_end(again);
    for (std::string& argument : argumentsOf(call.format, arguments))
      call.arguments.push_back(std::move(argument));
    record(call);
  }

  mutable std::mutex mutex_;
  std::vector<CallbackCall> calls_;
  std::vector<ErrorChain> chains_;
};

#endif  // MTLLIB_TESTS_FAKES_RECORDING_CALLBACK_H_
