// Links to folders are not followed, so that the walk ends; those to files count as files.
#include "mtlsync/status.h"

#include <array>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

#include "mtlsync/local_copy.h"
#include "mtlsync/printable.h"

namespace mtlsync {

namespace {

namespace fs = std::filesystem;

/// The longest stamp of which the first line is looked for.
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

std::string firstLineOf(const fs::path& path) {
  std::string text(static_cast<std::size_t>(kStampBytes), '\0');
  std::ifstream stream(path, std::ios::binary);
  stream.read(text.data(), kStampBytes);
  text.resize(static_cast<std::size_t>(stream.gcount()));
  return printableLine(text.substr(0, text.find_first_of("\r\n")));
}

bool readStamp(const LocalFile& stamp, CopyStatus& status, ErrorEntries& problem) {
  const std::string name = '"' + stamp.path.u8string() + '"';
  std::error_code error;
  const fs::file_status kind = fs::status(stamp.path, error);
  if (kind.type() == fs::file_type::none) {
    problem = {ownError("Could not look at the stamp " + name), ownError(reasonText(error))};
    return false;
  }
  if (!fs::is_regular_file(kind)) {
    problem = {
        ownError("There is no complete copy here"),
        ownError((fs::exists(kind) ? "no regular file is the stamp " : "there is no stamp ") +
                 name)};
    return false;
  }
  const fs::file_time_type time = fs::last_write_time(stamp.path, error);
  status.stamp = firstLineOf(stamp.path);
  status.since = secondsOf(time);
  if (!error && !status.stamp.empty()) return true;
  problem = {ownError("There is no complete copy here"),
             ownError("the stamp " + name + " is empty or cannot be read")};
  return false;
}

class Counter {
 public:
  Counter(const std::function<bool()>& stop, const fs::path& stamp, CopyStatus& status)
      : stop_(stop), stamp_(stamp), status_(status) {}

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
    if (fs::is_directory(entry.symlink_status(error))) return folders_.push_back(entry.path());
    if (entry.path() == stamp_ || !entry.is_regular_file(error)) return;
    const std::uintmax_t size = entry.file_size(error);
    if (error) return note(entry.path(), error);
    ++status_.files;
    status_.bytes += static_cast<std::int64_t>(size);
  }

  void note(const fs::path& path, const std::error_code& error) {
    if (!error) return;
    status_.unread.push_back("not counted: \"" + path.generic_u8string() +
                             "\": " + reasonText(error));
  }

  const std::function<bool()>& stop_;
  const fs::path& stamp_;
  CopyStatus& status_;
  std::vector<fs::path> folders_;
};

std::string timeText(const std::tm* time, const char* format) {
  std::array<char, 64> text{};
  const std::size_t length =
      time != nullptr ? std::strftime(text.data(), text.size(), format, time) : 0;
  return {text.data(), length};
}

}  // namespace

bool readStatus(const Options& options, const std::function<bool()>& stop, CopyStatus& status,
                ErrorEntries& problem) {
  const LocalFile stamp = stampFile(options);
  return readStamp(stamp, status, problem) && Counter(stop, stamp.path, status).run();
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
