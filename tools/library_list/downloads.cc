// Five handles take turns; libcurl keeps their connections.
#include "library_list/downloads.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "library_list/transfer_setup.h"

namespace library_list {

namespace {

constexpr int kPollMilliseconds = 100;

using MultiHandle = std::unique_ptr<CURLM, decltype(&curl_multi_cleanup)>;

/// One download at a time.
class Slot {
 public:
  Slot() = default;
  Slot(const Slot&) = delete;
  Slot& operator=(const Slot&) = delete;

  CURL* handle() const { return easy_.get(); }
  bool isBusy() const { return isBusy_; }

  CURLcode begin(const FetchRequest& connection, Download download) {
    download_ = std::move(download);
    received_ = 0;
    isTooLarge_ = false;
    errorText_[0] = '\0';
    if (easy_ == nullptr) return CURLE_FAILED_INIT;
    Setter set(easy_.get());
    setUp(set, connection);
    set(CURLOPT_ERRORBUFFER, errorText_.data());
    set(CURLOPT_URL, download_.url.c_str());
    set(CURLOPT_HTTPGET, 1L);
    set(CURLOPT_NOBODY, download_.headOnly ? 1L : 0L);
    set(CURLOPT_WRITEFUNCTION, &Slot::onBody);
    set(CURLOPT_WRITEDATA, this);
    isBusy_ = set.code() == CURLE_OK;
    return set.code();
  }

  void end(CURLcode code) {
    isBusy_ = false;
    DownloadEnd result;
    long status = 0;
    curl_off_t announced = -1;
    curl_easy_getinfo(easy_.get(), CURLINFO_RESPONSE_CODE, &status);
    curl_easy_getinfo(easy_.get(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &announced);
    result.announcedSize = announced;
    // A page that goes with an error may be of any size.
    if (status != 0 && status != kStatusOk) {
      result.problem = statusText(status);
    } else if (isTooLarge_) {
      result.isTooLarge = true;
      result.problem = tooLargeText(download_.largestSize);
    } else if (code != CURLE_OK) {
      result.problem = errorText_[0] != '\0' ? errorText_.data() : curl_easy_strerror(code);
    }
    download_.onEnd(result);
  }

 private:
  static std::size_t onBody(char* bytes, std::size_t unit, std::size_t count, void* slotPointer) {
    auto& slot = *static_cast<Slot*>(slotPointer);
    const std::size_t size = unit * count;
    slot.received_ += static_cast<std::int64_t>(size);
    slot.isTooLarge_ = slot.received_ > slot.download_.largestSize;
    if (slot.isTooLarge_) return 0;
    slot.download_.onBytes({bytes, size});
    return size;
  }

  EasyHandle easy_ = makeEasyHandle();
  Download download_;
  std::int64_t received_ = 0;
  std::array<char, CURL_ERROR_SIZE> errorText_{};
  bool isTooLarge_ = false;
  bool isBusy_ = false;
};

/// The handles are taken out of `multi` before either is cleaned up.
class Slots {
 public:
  explicit Slots(CURLM* multi) : multi_(multi) {}
  ~Slots() {
    for (const Slot& slot : slots_) {
      if (slot.isBusy()) curl_multi_remove_handle(multi_, slot.handle());
    }
  }
  Slots(const Slots&) = delete;
  Slots& operator=(const Slots&) = delete;

  /// False when all has been done.
  bool fill(const FetchRequest& connection, const std::function<std::optional<Download>()>& next) {
    for (Slot& slot : slots_) {
      while (!slot.isBusy() && !isExhausted_) {
        std::optional<Download> download = next();
        isExhausted_ = !download;
        if (isExhausted_) break;
        const CURLcode code = slot.begin(connection, *std::move(download));
        if (code != CURLE_OK || curl_multi_add_handle(multi_, slot.handle()) != CURLM_OK) {
          slot.end(code != CURLE_OK ? code : CURLE_FAILED_INIT);
        }
      }
    }
    return std::any_of(slots_.begin(), slots_.end(),
                       [](const Slot& slot) { return slot.isBusy(); });
  }

  void endFinished() {
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
      const CURLcode code = message->data.result;
      const auto slot = std::find_if(
          slots_.begin(), slots_.end(),
          [message](const Slot& candidate) { return candidate.handle() == message->easy_handle; });
      curl_multi_remove_handle(multi_, slot->handle());
      slot->end(code);
    }
  }

 private:
  CURLM* multi_;
  std::array<Slot, 5> slots_;
  bool isExhausted_ = false;
};

}  // namespace

std::string runDownloads(const FetchRequest& connection,
                         const std::function<std::optional<Download>()>& next,
                         const std::function<void()>& meanwhile) {
  const CurlState state;
  const MultiHandle multi(curl_multi_init(), &curl_multi_cleanup);
  if (state.code != CURLE_OK || multi == nullptr) return "libcurl could not be started";
  Slots slots(multi.get());
  while (slots.fill(connection, next)) {
    int running = 0;
    CURLMcode code = curl_multi_perform(multi.get(), &running);
    slots.endFinished();
    if (code == CURLM_OK && running > 0) {
      code = curl_multi_poll(multi.get(), nullptr, 0, kPollMilliseconds, nullptr);
    }
    if (code != CURLM_OK) return curl_multi_strerror(code);
    meanwhile();
  }
  return "";
}

}  // namespace library_list
