// Runs downloads. A connection whose download has ended is given the next one at once.
#include "mtlpublish/downloads.h"

#include <charconv>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <system_error>
#include <utility>

namespace mtlpublish {

namespace {

constexpr std::chrono::milliseconds kBetween{100};
constexpr int kStatusOk = 200;
/// Of a page that goes with an error, in bytes; a longer one is not waited for.
constexpr std::size_t kLongestPage = 65536;

class Downloads;

/// What becomes of one download at a time.
class Slot final : public mtlupdate::Exchange {
 public:
  explicit Slot(Downloads& downloads) : downloads_(downloads) {}

  mtlupdate::Request begin(Download download) {
    download_ = std::move(download);
    end_ = {};
    status_ = 0;
    received_ = 0;
    mtlupdate::Request request;
    request.target = download_.target;
    request.headOnly = download_.headOnly;
    return request;
  }
  /// The download was over before it began.
  void fail(const std::string& problem) {
    end_.problem = problem;
    download_.onEnd(end_);
  }

  void onField(std::string_view name, std::string_view value) override {
    if (name != "content-length") return;
    std::int64_t size = 0;
    const char* const end = value.data() + value.size();
    const auto [rest, error] = std::from_chars(value.data(), end, size);
    if (error == std::errc() && rest == end) end_.announcedSize = size;
  }
  void onStatus(int status) override { status_ = status; }
  bool onBytes(std::string_view bytes) override;
  void onFailure(const Krell::Networking::ConnectionError& error,
                 const Krell::Networking::FailureDetail& detail) override {
    end_.problem = mtlupdate::failureOf(error, detail).text;
  }
  void onEnd(int connection) override;

 private:
  Downloads& downloads_;
  Download download_;
  DownloadEnd end_;
  int status_ = 0;
  std::size_t received_ = 0;
};

class Downloads {
 public:
  Downloads(mtlupdate::Session& session, const std::function<std::optional<Download>()>& next)
      : session_(session), next_(next) {
    for (int i = 0; i < session.connectionCount(); ++i)
      slots_.emplace_back(*this);
  }

  void run(const std::function<void()>& meanwhile) {
    std::unique_lock lock(mutex_);
    for (int i = 0; i < session_.connectionCount(); ++i) {
      ++running_;
      startNext(i);
    }
    while (running_ > 0) {
      ended_.wait_for(lock, kBetween);
      lock.unlock();
      meanwhile();
      lock.lock();
    }
  }

  std::mutex& mutex() { return mutex_; }

  /// Called with the mutex held.
  void startNext(int connection) {
    while (std::optional<Download> download = next_()) {
      Slot& slot = slots_[static_cast<std::size_t>(connection)];
      const mtlupdate::Request request = slot.begin(*std::move(download));
      const mtlupdate::Outcome failure = session_.start(connection, request, slot);
      if (!failure) return;
      slot.fail(failure->text);
    }
    --running_;
    ended_.notify_one();
  }

 private:
  mtlupdate::Session& session_;
  const std::function<std::optional<Download>()>& next_;
  std::mutex mutex_;
  std::condition_variable ended_;
  int running_ = 0;         ///< Connections with a download.
  std::deque<Slot> slots_;  ///< One for each connection.
};

bool Slot::onBytes(std::string_view bytes) {
  const std::lock_guard lock(downloads_.mutex());
  received_ += bytes.size();
  if (status_ != kStatusOk) return received_ <= kLongestPage;
  end_.isTooLarge = received_ > static_cast<std::size_t>(download_.largestSize);
  if (end_.isTooLarge) return false;
  if (!bytes.empty()) download_.onBytes(bytes);
  return true;
}

void Slot::onEnd(int connection) {
  const std::lock_guard lock(downloads_.mutex());
  if (status_ != 0 && status_ != kStatusOk) {
    end_.problem = "unexpected HTTP status " + std::to_string(status_);
  } else if (end_.isTooLarge) {
    end_.problem = "it is larger than " + std::to_string(download_.largestSize) + " bytes";
  }
  download_.onEnd(end_);
  downloads_.startNext(connection);
}

}  // namespace

void runDownloads(mtlupdate::Session& session, const std::function<std::optional<Download>()>& next,
                  const std::function<void()>& meanwhile) {
  Downloads downloads(session, next);
  downloads.run(meanwhile);
  for (int i = 0; i < session.connectionCount(); ++i)
    session.waitUntilIdle(i);
  meanwhile();
}

}  // namespace mtlpublish
