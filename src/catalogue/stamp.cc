// Fetches, compares and writes the stamp: opaque bytes that change whenever the library does. It
// is compared first and written last.
#include <cstdint>

#include "catalogue/library_copy.h"
#include "http/http_getter.h"
#include "plugin/error_chain.h"
#include "qutils/file_stream.h"
#include "qutils/stream_content.h"

using QUtils::CharString;
using QUtils::PFileStream;
using QUtils::PStream;

namespace {

// Fetches one file into `stamp`. Returns what went wrong, with the cause in `error`;
// null when nothing did.
const char* fetchStamp(HttpGetter& getter, HostCallback& callback, const LibraryCopy& copy,
                       PStream& stamp, ErrorChain& error) {
  int client = -1;
  std::uint32_t hadCompletion = 0;
  HttpDldDone done;
  error = getter.waitAvailable(client, hadCompletion, done);
  if (!error) {
    const CharString path = copy.stampPath(PathSide::kRemote);
    error = getter.issueRequest(client, path.text(), &stamp, 0, 0);
  }
  if (error) return "Could not download remote stamp file (request failed).";
  getter.waitForRequestCompletion(done);
  callback.endProgress();
  done.expectStatus();
  error = done.error;
  if (error) return "Could not download remote stamp file";
  return stamp.GetSize() > 0 ? nullptr : "Remote stamp file is empty";
}

}  // namespace

int LibraryCopy::readRemoteIdFile(PStream& stamp) {
  callback->logStage("Downloading remote stamp file");
  httpGetter->beginBatch(0, "Accessing stamp");
  ErrorChain error;
  if (const char* problem = fetchStamp(*httpGetter, *callback, *this, stamp, error)) {
    pushError(error, "DownloaderImpl::readRemoteIdFile", -1, "%s", problem);
    callback->reportError(&error);
    return -1;
  }
  const CharString path = stampPath(PathSide::kLocal);
  callback->logStage("Opening local stamp file \"%s\"", path.text());
  PFileStream local;
  if (const ErrorChain openError =
          local.OpenFile(path.text(), GENERIC_READ, FILE_SHARE_READ, QUtils::PFS_MODE_EXISTING)) {
    callback->logStage("Opening local stamp file failed: %s", errorChainToString(openError).text());
    return 1;
  }
  const bool same = compareStreams(error, local, stamp) == 0;
  local.Close();
  if (same) {
    callback->logStage("Local and remote stamp files match. Nothing to do.");
    return 0;
  }
  callback->logStage("Local and remote stamp files are different.");
  return 1;
}

int LibraryCopy::writeLocalStamp(PStream& stamp) {
  PFileStream local;
  ErrorChain error =
      local.Create(stampPath(PathSide::kLocal).text(), QUtils::PFS_MODE_CREATE_ALWAYS);
  if (error) {
    callback->logWarning("Creating local stamp file failed: %s", errorChainToString(error).text());
    return -1;
  }
  const std::int64_t size = stamp.GetSize();
  stamp.Seek(0);
  std::int64_t bytesRead = 0;
  std::int64_t bytesWritten = 0;
  copyStream(error, local, stamp, size, bytesRead, bytesWritten, kSaveChunkSize);
  const ErrorChain closeError = local.Close();
  return error || closeError ? -1 : 0;
}
