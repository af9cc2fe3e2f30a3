// Runs the steps of a synchronisation in order. The local stamp is written last, so that a run
// that ends early is repeated by the next one.
#include "plugin/downloader.h"

#include "catalogue/list_file.h"
#include "http/http_getter.h"
#include "plugin/error_chain.h"
#include "qutils/file_system.h"
#include "qutils/mem_stream.h"

using QUtils::PMemStream;

namespace {

constexpr std::uint64_t kListBlockSize = 16384;

}  // namespace

int DownloaderImpl::download() {
  callback->logInfo("Remote address: \"%s\"", settings->remoteAddress.text());
  callback->logInfo("Target directory: \"%s\"", settings->targetDirectory.text());
  callback->logStage("Creating download directory");
  ErrorChain error = QUtils::createPath(settings->targetDirectory.text());
  if (error) {
    pushError(error, "DownloaderImpl::download", -1, "Create download directory failed");
    callback->reportError(&error);
    return -1;
  }
  int result = initHttpGetter();
  if (result != 0) return result;

  PMemStream stamp(kStampBlockSize);
  result = readRemoteIdFile(stamp);
  if (result <= 0) return result;

  PMemStream listStream(kListBlockSize);
  result = downloadListFile(listStream);
  if (result < 0) return result;

  ListFile list;
  result = parseListFile(listStream, list);
  if (result < 0) return result;

  if (list.count > 0) {
    result = downloadFiles(list);
    if (result < 0) return result;
  }
  return writeLocalStamp(stamp);
}

int DownloaderImpl::initHttpGetter() {
  if (httpGetter == nullptr) httpGetter = makeHttpGetter(*settings, *callback, remotePath);
  return httpGetter != nullptr ? 0 : -1;
}
