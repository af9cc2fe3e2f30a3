// Fetches the selected files, five at a time. A finished body is saved when its client is needed
// again, or at the end.
#include <cstdint>
#include <limits>

#include "catalogue/library_copy.h"
#include "catalogue/list_file.h"
#include "http/http_getter.h"
#include "plugin/error_chain.h"
#include "qutils/file_stream.h"
#include "qutils/file_system.h"
#include "qutils/mem_stream.h"
#include "qutils/stream_content.h"

using QUtils::CharString;
using QUtils::PFileStream;
using QUtils::PMemStreamGrowStep;
using QUtils::PStream;

namespace {

constexpr const char* kFilesTag = "DownloaderImpl::downloadFiles";
constexpr const char* kSaveTag = "DownloaderImpl::saveFile";
constexpr int kProgressRange = 1000;

// The list's sizes are the server's word; their sum may not fit.
std::int64_t addSaturated(std::int64_t a, std::int64_t b) {
  constexpr std::int64_t kHighest = std::numeric_limits<std::int64_t>::max();
  constexpr std::int64_t kLowest = std::numeric_limits<std::int64_t>::min();
  if (b > 0 && a > kHighest - b) return kHighest;
  if (b < 0 && a < kLowest - b) return kLowest;
  return a + b;
}

/// The downloads of one run: the body of the transfer on client k goes into stream k.
class FileBatch {
 public:
  FileBatch(LibraryCopy& copy, const LibraryCopy::ListFile& list)
      : copy_(copy), list_(list), callback_(*copy.callback) {}

  // Only an exception leaves requests behind; their streams must not go before them.
  ~FileBatch() {
    if (drained_) return;
    destroyHttpGetter(copy_.httpGetter, true);
    copy_.httpGetter = nullptr;
  }
  FileBatch(const FileBatch&) = delete;
  FileBatch& operator=(const FileBatch&) = delete;

  void begin() {
    std::int64_t total = 0;
    for (std::int32_t i = 0; i < list_.count; ++i)
      total = addSaturated(total, entry(i).size);
    getter().beginBatch(total, "Downloading files");
    getter().updateMegabytes();
    if (total <= 0) return;
    callback_.setProgressRange(kProgressRange);
    callback_.setProgressValue(0);
    callback_.beginProgress();
  }

  void requestAll() {
    for (std::int32_t i = 0; i < list_.count && !error_; ++i) {
      int client = -1;
      std::uint32_t hadCompletion = 0;
      HttpDldDone done;
      error_ = getter().waitAvailable(client, hadCompletion, done);
      if (error_) return;
      if (hadCompletion != 0 && !saveReused(client, done)) return;
      callback_.logStage("Downloading file \"%s\" (%lli bytes)", entry(i).remoteName.text(),
                         static_cast<long long>(entry(i).size));
      if (!error_) request(i, client);
      if (error_) {
        pushError(error_, kFilesTag, -1, "Requesting download for \"%s\" file failed",
                  entry(i).remoteName.text());
      }
    }
  }

  // Waits for what still runs; nothing is saved any more once there is an error.
  void drain() {
    HttpDldDone done;
    for (int client = getter().waitForRequestCompletion(done); client >= 0;
         client = getter().waitForRequestCompletion(done)) {
      PStream& body = stream(client);
      if (!error_) {
        done.expectStatus();
        error_ = done.error;
        if (!error_) copy_.saveFile(error_, entryOf(done).localName, body);
      }
      stream(client).Reset(true);
    }
    drained_ = true;
  }

  ErrorChain& error() { return error_; }

 private:
  using BodyStream = PMemStreamGrowStep<16384>;

  // Finishes the request that its client still holds; false when the request failed. A
  // failed save is reported by the error alone.
  bool saveReused(int client, HttpDldDone& done) {
    const ListFileEntry& finished = entryOf(done);
    done.expectStatus();
    if (done.error) {
      error_ = done.error;
      pushError(error_, kFilesTag, -1, "Downloading \"%s\" file failed",
                finished.remoteName.text());
      return false;
    }
    callback_.logStage("Saving file \"%s\"", finished.localName.text());
    copy_.saveFile(error_, finished.localName, stream(client));
    stream(client).Reset(false);
    return true;
  }

  void request(std::int32_t i, int client) {
    const CharString path = copy_.makeFullPath(entry(i).remoteName.text(), PathSide::kRemote);
    error_ = getter().issueRequest(client, path.text(), &stream(client),
                                   static_cast<std::uint32_t>(i), entry(i).size);
  }

  HttpGetter& getter() { return *copy_.httpGetter; }
  BodyStream& stream(int client) { return streams_[client]; }
  const ListFileEntry& entry(std::int32_t i) const {
    return list_.entries[static_cast<std::size_t>(i)];
  }
  // The tag of a request is the index of its entry.
  const ListFileEntry& entryOf(const HttpDldDone& done) const { return list_.entries[done.tag]; }

  LibraryCopy& copy_;
  const LibraryCopy::ListFile& list_;
  HostCallback& callback_;
  ErrorChain error_;
  bool drained_ = false;
  BodyStream streams_[kHttpClientCount];
};

// Copies the whole body; what is missing on either side is an error.
void copyBody(ErrorChain& error, PStream& file, PStream& body) {
  error = body.Seek(0);
  if (error) return;
  const std::int64_t size = body.GetSize();
  std::int64_t bytesRead = 0;
  std::int64_t bytesWritten = 0;
  copyStream(error, file, body, size, bytesRead, bytesWritten, kSaveChunkSize);
  if (error || (bytesRead == size && bytesWritten == size)) return;
  setError(error, kSaveTag, -1, "IO size mismatch: size=%lli, bytes read=%lli, bytes written=%lli",
           static_cast<long long>(size), static_cast<long long>(bytesRead),
           static_cast<long long>(bytesWritten));
}

}  // namespace

int LibraryCopy::downloadFiles(const ListFile& list) {
  FileBatch batch(*this, list);
  batch.begin();
  batch.requestAll();
  batch.drain();
  if (batch.error()) callback->reportError(&batch.error());
  callback->endProgress();
  return batch.error() ? -1 : 0;
}

void LibraryCopy::saveFile(ErrorChain& error, const CharString& localName, PStream& body) {
  const CharString path = makeFullPath(localName.text(), PathSide::kLocal);
  error = QUtils::createParentPath(path.text());
  if (error) {
    pushError(error, kSaveTag, -1, "Could not create directory path to \"%s\"", localName.text());
    return;
  }
  PFileStream file;
  error = file.Create(path.text(), QUtils::PFS_MODE_CREATE_ALWAYS);
  if (error) {
    pushError(error, kSaveTag, -1, "Could not create file \"%s\"", localName.text());
    return;
  }
  copyBody(error, file, body);
  const ErrorChain closeError = file.Close();
  if (!error) error = closeError;
  if (error) {
    pushError(error, kSaveTag, -1, "Error saving stream for \"%s\"", localName.text());
  }
}
