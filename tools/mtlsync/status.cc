// Counts the files of a copy. Links to folders are not followed, so that the walk ends; links to
// files count as files.
#include "mtlsync/status.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

#include "common/display_width.h"
#include "common/quantity_text.h"
#include "mtlhost/system.h"
#include "mtlhost/update.h"
#include "mtlsync/command_text.h"
#include "mtlsync/outcome.h"
#include "rules/own_names.h"
#include "rules/path.h"
#include "rules/printable.h"

namespace mtlsync {

namespace {

namespace fs = std::filesystem;

/// A line with it fits a usual terminal.
constexpr int kStampColumns = 72;

/// How far the first line of a stamp that is not blank is looked for.
constexpr std::streamsize kStampBytes = 4096;

/// In seconds since 1970. C++17 has no other way from the one clock to the other.
std::int64_t secondsOf(fs::file_time_type time) {
  using namespace std::chrono;
  const auto age = fs::file_time_type::clock::now() - time;
  const auto moment = system_clock::now() - duration_cast<system_clock::duration>(age);
  // The two clocks were not asked at once.
  const auto milli = round<milliseconds>(moment.time_since_epoch());
  return floor<seconds>(milli).count();
}

/// "" when all lines are blank.
std::string firstLineOf(const std::string& text) {
  const std::size_t begin = text.find_first_not_of(" \t\r\n");
  if (begin == text.npos) return "";
  const std::size_t end = text.find_first_of("\r\n", begin);
  return mtlrules::printableLine(text.substr(begin, end - begin));
}

bool readStart(const fs::path& path, std::string& text, std::error_code& error) {
  errno = 0;
  text.resize(static_cast<std::size_t>(kStampBytes));
  std::ifstream stream(path, std::ios::binary);
  if (stream) stream.read(text.data(), kStampBytes);
  if (!stream && !stream.eof()) {
    error = {errno != 0 ? errno : EIO, std::generic_category()};
    return false;
  }
  text.resize(static_cast<std::size_t>(stream.gcount()));
  return true;
}

/// The stamp is below the sub-path, and so is the copy.
fs::path stampFile(const Options& options) {
  const std::string name = mtlrules::stampName(options.subPath);
  return fs::u8path(mtlrules::joinedPath(options.directory, name));
}

/// Of this program, which looks at the folder itself.
mtlhost::Errors failure(const std::string& what, const std::string& why, const fs::path& stamp) {
  mtlhost::Errors chain{{"mtlsync", -1, what}, {"mtlsync", -1, why}};
  chain.front().kind = mtlhost::ErrorKind::kDisk;
  chain.front().about = stamp.u8string();
  chain.front().sentence = mtlrules::printableLine(what + ": " + why) + '.';
  return chain;
}

StatusResult readStamp(const fs::path& stamp, CopyStatus& status, mtlhost::Errors& problem) {
  const std::string name = '"' + stamp.u8string() + '"';
  const auto noCopy = [&](const std::string& reason) {
    problem = failure("There is no complete copy here", reason, stamp);
    return StatusResult::kNoStamp;
  };
  const auto unreadable = [&](const std::error_code& error) {
    problem = failure("Could not read the stamp " + name, mtlhost::systemErrorText(error), stamp);
    return StatusResult::kUnreadable;
  };
  std::error_code error;
  const fs::file_status kind = fs::status(stamp, error);
  if (!fs::status_known(kind)) return unreadable(error);
  if (!fs::exists(kind)) return noCopy("there is no stamp " + name);
  if (!fs::is_regular_file(kind)) return noCopy("the stamp " + name + " is not a regular file");
  const fs::file_time_type time = fs::last_write_time(stamp, error);
  std::string text;
  if (error || !readStart(stamp, text, error)) return unreadable(error);
  status.stamp = firstLineOf(text);
  status.since = secondsOf(time);
  return text.empty() ? noCopy("the stamp " + name + " is empty") : StatusResult::kRead;
}

class Counter {
 public:
  Counter(const std::function<bool()>& stop, const fs::path& stamp, CopyStatus& status)
      : stop_(stop),
        stamp_(stamp),
        ownFolder_(stamp.parent_path() / mtlrules::kStateFolderName),
        status_(status) {}

  /// False when it was stopped.
  bool run() {
    folders_.push_back(stamp_.parent_path());
    while (!folders_.empty()) {
      const fs::path folder = std::move(folders_.back());
      folders_.pop_back();
      if (!count(folder)) return false;
    }
    return true;
  }

 private:
  bool count(const fs::path& folder) {
    std::error_code error;
    fs::directory_iterator entry(folder, error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
      if (stop_()) return false;
      count(*entry);
    }
    note(folder, error);
    return true;
  }

  void count(const fs::directory_entry& entry) {
    std::error_code error;
    if (fs::is_directory(entry.symlink_status(error))) {
      if (entry.path() != ownFolder_) folders_.push_back(entry.path());
      return;
    }
    if (entry.path() == stamp_ || !entry.is_regular_file(error)) return;
    const std::uintmax_t size = entry.file_size(error);
    if (error) return note(entry.path(), error);
    ++status_.files;
    status_.bytes += static_cast<std::int64_t>(size);
  }

  void note(const fs::path& path, const std::error_code& error) {
    if (!error) return;
    status_.unread.push_back("not counted: \"" + path.generic_u8string() +
                             "\": " + mtlhost::systemErrorText(error));
  }

  const std::function<bool()>& stop_;
  const fs::path& stamp_;
  const fs::path ownFolder_;  ///< What runs keep for themselves.
  CopyStatus& status_;
  std::vector<fs::path> folders_;
};

std::vector<std::string> signatureLines(const mtlhost::CopySignature& signature) {
  using Kind = mtlhost::CopySignature::Kind;
  switch (signature.kind) {
    case Kind::kNone:
      return signature.needsKeys ? std::vector<std::string>{"Signed: no, but updates need --key"}
                                 : std::vector<std::string>{};
    case Kind::kUnchecked:
      return {signature.needsKeys ? "Signed: not checked without --key, which updates need"
                                  : "Signed: nobody checks by whom, without --key"};
    case Kind::kBad:
      return {"Signed: not as it should be: " + mtlrules::printableLine(signature.problem)};
    case Kind::kGood:
      break;
  }
  std::string release = signature.libraryName + ", serial " + std::to_string(signature.serial);
  release += ", published " + localTimeText(signature.published);
  if (signature.expires) release += ", expires " + localTimeText(*signature.expires);
  return {"Signed: by key " + signature.keyId, "Release: " + mtlrules::printableLine(release)};
}

std::string timeText(const std::tm* time, const char* format) {
  std::array<char, 64> text{};
  const std::size_t length =
      time != nullptr ? std::strftime(text.data(), text.size(), format, time) : 0;
  return {text.data(), length};
}

}  // namespace

StatusResult readStatus(const Options& options, const std::function<bool()>& stop,
                        CopyStatus& status, mtlhost::Errors& problem) {
  const auto signature =
      mtlhost::copySignature(options.directory, options.subPath, options.trust, problem);
  if (!signature) return StatusResult::kWrongKey;
  status.signature = *signature;
  const fs::path stamp = stampFile(options);
  const StatusResult result = readStamp(stamp, status, problem);
  status.isUnfinished = mtlhost::isUpdateUnfinished(options.directory);
  if (result != StatusResult::kRead || Counter(stop, stamp, status).run()) return result;
  return StatusResult::kStopped;
}

ExitStatus tellStatus(const Options& options, const SyncObserver::Outputs& outputs,
                      const std::function<bool()>& stop) {
  SyncObserver observer(outputs, options.verbosity, stop);
  CopyStatus status;
  mtlhost::Errors problem;
  const StatusResult result = readStatus(options, stop, status, problem);
  if (result == StatusResult::kStopped) {
    if (outputs.events != nullptr)
      outputs.events->result(-1, nameOf(Outcome::kInterrupted), "", 0, 0);
    outputs.messages.printLine("mtlsync: interrupted");
    return kExitInterrupted;
  }
  if (result != StatusResult::kRead) {
    observer.error(problem);
    if (result == StatusResult::kNoStamp) {
      outputs.messages.printLine('"' + commandWith("", options) + "\" makes it complete.");
    }
    return result == StatusResult::kWrongKey ? kExitWrongUsage : kExitFailed;
  }
  for (const std::string& text : status.unread)
    observer.warning(text);
  if (outputs.events != nullptr) {
    outputs.events->status(status.stamp, universalTimeText(status.since), status.files,
                           status.bytes, status.isUnfinished, status.signature);
  } else if (options.verbosity != Verbosity::kQuiet) {
    outputs.results.printLine("Stamp: " + common::elided(status.stamp, kStampColumns));
    outputs.results.printLine("Since: " + localTimeText(status.since));
    outputs.results.printLine("Files: " + std::to_string(status.files));
    outputs.results.printLine("Size:  " + common::bytesText(status.bytes));
    for (const std::string& line : signatureLines(status.signature))
      outputs.results.printLine(line);
    if (status.isUnfinished) outputs.results.printLine("An update is unfinished.");
  }
  return status.signature.kind == mtlhost::CopySignature::Kind::kBad ? kExitContent : kExitDone;
}

std::string localTimeText(std::int64_t secondsSince1970) {
  const auto time = static_cast<std::time_t>(secondsSince1970);
  return timeText(std::localtime(&time), "%Y-%m-%d %H:%M:%S");
}

std::string universalTimeText(std::int64_t secondsSince1970) {
  const auto time = static_cast<std::time_t>(secondsSince1970);
  return timeText(std::gmtime(&time), "%Y-%m-%dT%H:%M:%SZ");
}

}  // namespace mtlsync
