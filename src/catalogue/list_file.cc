// Fetches and reads filelist.json, and maintains the list of files to download.
#include "catalogue/list_file.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "catalogue/list_entries.h"
#include "http/http_getter.h"
#include "mtllib/allocation.h"
#include "platform/utf.h"
#include "plugin/error_chain.h"
#include "qutils/whole_text.h"
#include "rules/address.h"
#include "rules/list_entry.h"

using QUtils::CharString;
using QUtils::PStream;

namespace {

constexpr const char* kDownloadTag = "DownloaderImpl::downloadListFile";
constexpr std::int64_t kLargestList = 1073741824;
constexpr std::int64_t kBufferStep = 100;

// A new text of `size` bytes read from the stream; null, with `error` set, on failure.
Platform::Utf8Text readText(PStream& stream, std::int64_t size, ErrorChain& error) {
  const std::int64_t capacity = (size / kBufferStep + 1) * kBufferStep;
  Platform::Utf8Text text(static_cast<char*>(QUtils::qmalloc(static_cast<std::size_t>(capacity))));
  if (text != nullptr) error = stream.ReadBuffer(text.get(), static_cast<std::uint32_t>(size));
  if (text != nullptr && !error) return text;
  pushError(error, kParseListTag, -1, "Reading json file list failed");
  return nullptr;
}

}  // namespace

int LibraryCopy::downloadListFile(PStream& list) {
  httpGetter->beginBatch(0, "Getting file list");
  int client = -1;
  std::uint32_t hadCompletion = 0;
  HttpDldDone done;
  ErrorChain error = httpGetter->waitAvailable(client, hadCompletion, done);
  if (!error) {
    const std::string path = mtlrules::listUrlPath(remotePath.text(), settings->subPath.text());
    error = httpGetter->issueRequest(client, path.c_str(), &list, 0, 0);
  }
  if (error) {
    pushError(error, kDownloadTag, -1, "Could not download list file (request failed)");
    callback->reportError(&error);
    return -1;
  }
  httpGetter->waitForRequestCompletion(done);
  callback->endProgress();
  done.expectStatus();
  if (!done.error) return 0;
  pushError(done.error, kDownloadTag, -1, "Could not download list file");
  callback->reportError(&done.error);
  return -1;
}

int LibraryCopy::parseListFile(PStream& stream, ListFile& list) {
  stream.Seek(0);
  const std::int64_t size = stream.GetSize();
  if (size < 1 || size > kLargestList) {
    callback->logWarning("Incorrect size of json file list (%lli bytes)",
                         static_cast<long long>(size));
    return -1;
  }
  ErrorChain error;
  if (const Platform::Utf8Text text = readText(stream, size, error)) {
    // Without the last byte: a list ends with one that is not part of the JSON text, a newline
    // as a rule.
    selectEntries(*this, {text.get(), static_cast<std::size_t>(size - 1)}, list, error);
  }
  if (!error) return 0;
  callback->reportError(&error);
  return -1;
}

void LibraryCopy::ListFile::resizeList(std::int32_t newCount, bool exact) {
  if (newCount > capacity) {
    if (!exact && growStep >= 1) {
      capacity = newCount + (growStep - newCount % growStep);
    } else if (!exact && capacity >= 1) {
      while (capacity < newCount)
        capacity *= 2;
    } else {
      capacity = newCount;
    }
    makeRoom();
  }
  count = newCount;
}

// Grows by doubling: moving every entry at each of many small steps takes forever.
void LibraryCopy::ListFile::makeRoom() {
  if (capacity <= room) return;
  constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
  const std::int32_t grownRoom = room <= kMost / 2 ? std::max(capacity, room * 2) : kMost;
  auto grown = std::make_unique<ListFileEntry[]>(static_cast<std::size_t>(grownRoom));
  std::move(entries.get(), entries.get() + count, grown.get());
  entries = std::move(grown);
  room = grownRoom;
}

void LibraryCopy::ListFile::init(ListFileEntry& entry, ErrorChain& error, const CharString& path,
                                 std::int64_t size, std::int64_t lossySize) {
  releaseErrorChain(error);
  entry.localName = path;
  entry.remoteName = path;
  entry.size = size;
  if (lossySize <= 0) return;
  entry.size = lossySize;
  const std::optional<std::string> variant = mtlrules::lossyVariantOf(path.text());
  if (!variant) {
    setError(error, "DownloaderImpl::ListFile::init", -1,
             "Unexpected extension for lossy compressed map (expected \".tx\", got \"%s\"",
             path.text());
    return;
  }
  entry.remoteName = QUtils::wholeText(*variant);
}
