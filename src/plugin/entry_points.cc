// Implements the entry points: checks handles and null pointers, manages ownership, and leaves the
// work to other files.
#include "plugin/entry_points.h"

#include <new>

#include "http/http_getter.h"
#include "mtllib/allocation.h"
#include "net/context.h"
#include "platform/stay_loaded.h"
#include "plugin/downloader.h"
#include "plugin/error_chain.h"
#include "qutils/mem_stream.h"
#include "rules/address.h"

using Krell::Networking::NetworkingContextInitializerRAII;

/// The started networking library, or why it did not start.
struct NetworkContext {
  NetworkingContextInitializerRAII initializer;
  ErrorChain error;
};

namespace {

constexpr const char* kDefaultContextName = "$$temp";

extern "C" {

DownloaderImpl* createDownloader(HostCallback* callback, DownloaderSettings* settings) {
  void* block = QUtils::qmalloc(sizeof(DownloaderImpl));
  if (block == nullptr) return nullptr;
  // From here on the host gets texts and errors that point into the module.
  Platform::stayLoaded();
  if (settings->remoteAddress.empty()) settings->remoteAddress = mtlrules::defaultAddress();
  return new (block) DownloaderImpl{{nullptr, {}, callback, settings}};
}

void destroyDownloader(DownloaderImpl* downloader) {
  if (downloader == nullptr) return;
  if (downloader->httpGetter != nullptr) destroyHttpGetter(downloader->httpGetter, true);
  downloader->~DownloaderImpl();
  QUtils::qfree(downloader);
}

std::int32_t runDownload(DownloaderImpl* downloader) {
  return downloader != nullptr ? downloader->download() : -1;
}

std::int32_t checkForUpdate(DownloaderImpl* downloader) {
  if (downloader == nullptr) return -1;
  QUtils::PMemStream stamp(kStampBlockSize);
  const int result = downloader->initHttpGetter();
  return result == 0 ? downloader->readRemoteIdFile(stamp) : result;
}

NetworkContext* createNetworkContext() {
  void* block = QUtils::qmalloc(sizeof(NetworkContext));
  if (block == nullptr) return nullptr;
  auto* context = new (block) NetworkContext{};
  QUtils::CharString message;
  if (context->initializer.initializeDefault(kDefaultContextName, message) == 0) {
    pushError(context->error, "NetworkInitializerRAIIImpl::NetworkInitializerRAIIImpl", -1, "%s",
              message.text());
  }
  return context;
}

void destroyNetworkContext(NetworkContext* context) {
  if (context == nullptr) return;
  releaseErrorChain(context->error);
  NetworkingContextInitializerRAII& initializer = context->initializer;
  initializer.flags |= NetworkingContextInitializerRAII::kClosing;
  initializer.deinitialize(
      (initializer.flags & NetworkingContextInitializerRAII::kInitialized) != 0 ? 1 : 0);
  context->~NetworkContext();
  QUtils::qfree(context);
}

std::int32_t getKrellNetworkingStatus(NetworkContext* context, std::int32_t bufferSize,
                                      char* buffer) {
  const ErrorChain chain =
      context != nullptr ? context->error
                         : makeError("getKrellNetworkingStatus", -1, "Network not initialized");
  formatErrorChain(chain, buffer, bufferSize);
  return errorCode(chain, 0);
}

}  // extern "C"

}  // namespace

void fillDownloaderInterface(DownloaderInterface* table) {
  *table = DownloaderInterface{DOWNLOADER_INTERFACE_VERSION,
                               createDownloader,
                               destroyDownloader,
                               runDownload,
                               checkForUpdate,
                               createNetworkContext,
                               destroyNetworkContext,
                               getKrellNetworkingStatus};
}
