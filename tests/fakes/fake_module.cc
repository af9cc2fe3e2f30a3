// A plug-in that downloads nothing: it calls back as the real one would in the situation
// that the remote address names. Situations before that come from the environment, or from
// a test that has loaded the plug-in too.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <thread>

#include "mtllib/downloader_interface.h"

using Krell::Networking::ReqTokenGeneralType;
using Krell::Networking::TransferProgress;

struct DownloaderImpl {
  HostCallback* callback;
  DownloaderSettings* settings;
};

struct NetworkContext {
  int code;
};

namespace {

using std::chrono::milliseconds;

std::string chosenSituation;
std::atomic<int> downloaders{0};
std::atomic<int> contexts{0};

bool isSituation(std::string_view situation) {
  const char* value = std::getenv("MTLSYNC_FAKE");
  return situation == chosenSituation || (value != nullptr && situation == value);
}

ErrorRecord* newRecord(const char* tag, int code, const char* message, ErrorRecord* cause) {
  auto* record = static_cast<ErrorRecord*>(std::calloc(1, sizeof(ErrorRecord)));
  record->tag = tag;
  record->code = code;
  std::snprintf(record->message, sizeof(record->message), "%s", message);
  record->next = cause;
  record->deleter = std::free;
  record->refCount = 1;
  return record;
}

int reportFailedSave(HostCallback& callback) {
  ErrorChain chain;
  chain.head = newRecord("DownloaderImpl::saveFile", -1, "Could not create file \"a.tx\"",
                         newRecord("PFileStream::Create", 112, "(112) Disk full", nullptr));
  callback.reportError(&chain);
  return -1;
}

int reportFailure(HostCallback& callback, const char* causeTag, const char* cause) {
  ErrorChain chain;
  chain.head =
      newRecord("DownloaderImpl::readRemoteIdFile", -1, "Could not download remote stamp file",
                newRecord(causeTag, -1, cause, nullptr));
  callback.reportError(&chain);
  return -1;
}

/// Tells of received bytes; what the host answers.
int receive(HostCallback& callback, int request, std::int64_t bytes) {
  static int requests[8];
  TransferProgress progress{0, bytes};
  return callback.isAborted(reinterpret_cast<ReqTokenGeneralType*>(&requests[request]), &progress,
                            nullptr);
}

void beginStamp(HostCallback& callback) {
  callback.logInfo("Remote address: \"%s\"", "http://fake");
  callback.logStage("Downloading remote stamp file");
  callback.setProgressText("Accessing stamp");
  receive(callback, 0, 32);
  callback.endProgress();
}

void downloadTwoFiles(HostCallback& callback, milliseconds pause) {
  beginStamp(callback);
  callback.logStage("Local and remote stamp files are different.");
  callback.setProgressText("Downloading files");
  callback.setProgressText("Downloading files (0MB / 20MB)");
  callback.setProgressRange(1000);
  callback.setProgressValue(0);
  callback.beginProgress();
  callback.logStage("Downloading file \"%s\" (%lli bytes)", "a.tx", 10000000LL);
  callback.logStage("Downloading file \"%s\" (%lli bytes)", "b.tx", 10000000LL);
  std::thread network([&] {
    constexpr int kSteps = 50;
    for (int step = 1; step <= kSteps; ++step) {
      receive(callback, 1, 10000000LL * step / kSteps);
      receive(callback, 2, 10000000LL * step / kSteps);
      callback.setProgressValue(1000 * step / kSteps);
      const std::string text =
          "Downloading files (" + std::to_string(20 * step / kSteps) + "MB / 20MB)";
      callback.setProgressText(text.c_str());
      std::this_thread::sleep_for(pause);
    }
  });
  network.join();
  callback.endProgress();
}

/// Transfers nothing until the host stops it, and longer when `stubborn`.
int stall(HostCallback& callback, bool stubborn) {
  callback.logStage("Waiting");
  callback.setProgressText("Accessing stamp");
  int answer = 0;
  std::thread network([&] {
    for (int i = 0; i < 3000 && (answer == 0 || stubborn); ++i) {
      if (answer == 0 && (answer = receive(callback, 0, 0)) != 0) callback.logInfo("Told to stop");
      std::this_thread::sleep_for(milliseconds(10));
    }
  });
  network.join();
  if (answer == 0) return 0;
  callback.endProgress();
  const std::string cause = "Download aborted (" + std::to_string(answer) + ")";
  return reportFailure(callback, "HttpGetter::responseProgressCb", cause.c_str());
}

/// Receives ever more, a megabyte at a time and in two requests, until the host stops it.
int receiveEndlessly(HostCallback& callback) {
  callback.setProgressText("Downloading files");
  for (std::int64_t megabytes = 0; megabytes < 100000; ++megabytes) {
    const int request = static_cast<int>(megabytes % 2);
    if (receive(callback, request, megabytes * 1000000) == 0) continue;
    callback.endProgress();
    return reportFailure(callback, "HttpGetter::responseProgressCb", "Download aborted (1)");
  }
  return 0;
}

/// Everything that there is to tell, once, and a failure in the end.
int tellEverything(HostCallback& callback) {
  callback.logInfo("Remote address: \"%s\"", "http://fake");
  callback.logStage("Creating download directory");
  callback.logTaggedError("A::b", 5, "Ivalid http proxy address \"%s\".", "?");
  callback.logWarning("Incorrect size of json file list (%lli bytes)", 0LL);
  callback.setProgressText("Downloading files (0MB / 20MB)");
  callback.setProgressRange(1000);
  callback.setProgressValue(0);
  callback.beginProgress();
  const bool isStopped = receive(callback, 0, 3000000) != 0;
  callback.endProgress();
  return reportFailure(callback, "HttpGetter::responseProgressCb",
                       isStopped ? "Download aborted (1)" : "No stream to write to");
}

/// Calls back on two threads as fast as it can.
int chatter(HostCallback& callback) {
  constexpr int kTimes = 1000;
  std::thread network([&] {
    for (int i = 1; i <= kTimes; ++i) {
      receive(callback, 0, i);
      callback.setProgressValue(i);
    }
  });
  for (int i = 0; i < kTimes; ++i)
    callback.logStage("Downloading file \"%s\" (%lli bytes)", "a.tx", 1LL);
  network.join();
  return 0;
}

int upToDate(HostCallback& callback) {
  beginStamp(callback);
  callback.logStage("Local and remote stamp files match. Nothing to do.");
  return 0;
}

std::string settingsText(const DownloaderSettings& settings) {
  return std::string(settings.targetDirectory.text()) + "|" + settings.subPath.text() + "|" +
         std::to_string(settings.proxyMode) + "|" + settings.proxyAddress.text();
}

using Situation = std::function<int(DownloaderImpl&)>;

const std::map<std::string, Situation>& situations() {
  static const std::map<std::string, Situation> kSituations{
      {"ok",
       [](DownloaderImpl& downloader) {
         downloadTwoFiles(*downloader.callback, milliseconds(0));
         return 0;
       }},
      {"slow",
       [](DownloaderImpl& downloader) {
         downloadTwoFiles(*downloader.callback, milliseconds(10));
         return 0;
       }},
      {"up-to-date", [](DownloaderImpl& downloader) { return upToDate(*downloader.callback); }},
      {"certificate",
       [](DownloaderImpl& downloader) {
         return reportFailure(*downloader.callback, "HttpGetter::responseErrorCb",
                              "Connection error: reason=13 extraF=0 underlying=60");
       }},
      {"refused",
       [](DownloaderImpl& downloader) {
         return reportFailure(*downloader.callback, "HttpGetter::responseErrorCb",
                              "Connection error: reason=2 extraF=1000 underlying=111");
       }},
      {"warning-only",
       [](DownloaderImpl& downloader) {
         downloader.callback->logWarning("Creating local stamp file failed: %s", "(5) Denied.\r\n");
         return -1;
       }},
      {"silent", [](DownloaderImpl&) { return -7; }},
      {"empty-chain",
       [](DownloaderImpl& downloader) {
         ErrorChain chain;
         downloader.callback->reportError(&chain);
         return -1;
       }},
      {"survived",
       [](DownloaderImpl& downloader) {
         downloader.callback->logTaggedError("DownloaderImpl::getHttpProxyForAddr", -1,
                                             "Ivalid http proxy address \"%s\".", "???");
         return upToDate(*downloader.callback);
       }},
      {"survived-then-silent",
       [](DownloaderImpl& downloader) {
         downloader.callback->logTaggedError("DownloaderImpl::getHttpProxyForAddr", -1,
                                             "Ivalid http proxy address \"%s\".", "???");
         return -1;
       }},
      {"long",
       [](DownloaderImpl& downloader) {
         downloader.callback->logInfo("<%s>", std::string(100000, 'x').c_str());
         return 0;
       }},
      {"hostile",
       [](DownloaderImpl& downloader) {
         downloader.callback->logStage("Downloading file \"%s\" (%lli bytes)",
                                       "\xFF\x1B]0;owned\x07\n.tx", 1LL);
         return 0;
       }},
      {"settings",
       [](DownloaderImpl& downloader) {
         downloader.callback->logInfo("%s", settingsText(*downloader.settings).c_str());
         return 0;
       }},
      {"everything",
       [](DownloaderImpl& downloader) { return tellEverything(*downloader.callback); }},
      {"chatter", [](DownloaderImpl& downloader) { return chatter(*downloader.callback); }},
      {"full-disk",
       [](DownloaderImpl& downloader) { return reportFailedSave(*downloader.callback); }},
      {"endless",
       [](DownloaderImpl& downloader) { return receiveEndlessly(*downloader.callback); }},
      {"stall", [](DownloaderImpl& downloader) { return stall(*downloader.callback, false); }},
      {"stubborn", [](DownloaderImpl& downloader) { return stall(*downloader.callback, true); }}};
  return kSituations;
}

int play(DownloaderImpl* downloader) {
  const auto situation = situations().find(downloader->settings->remoteAddress.text());
  return situation != situations().end() ? situation->second(*downloader) : -99;
}

DownloaderImpl* createDownloader(HostCallback* callback, DownloaderSettings* settings) {
  if (isSituation("no downloader")) return nullptr;
  auto* downloader = new DownloaderImpl{callback, settings};
  ++downloaders;
  return downloader;
}

void destroyDownloader(DownloaderImpl* downloader) {
  if (downloader != nullptr) --downloaders;
  delete downloader;
}

std::int32_t runDownload(DownloaderImpl* downloader) {
  return play(downloader);
}

std::int32_t checkForUpdate(DownloaderImpl* downloader) {
  if (std::strcmp(downloader->settings->remoteAddress.text(), "ok") != 0) return play(downloader);
  beginStamp(*downloader->callback);
  return 1;
}

NetworkContext* createNetworkContext() {
  if (isSituation("no context")) return nullptr;
  auto* context = new NetworkContext{isSituation("broken context") ? -5 : 0};
  ++contexts;
  return context;
}

void destroyNetworkContext(NetworkContext* context) {
  if (context == nullptr) return;
  // No host may end the last one while it has downloaders.
  if (--contexts == 0 && downloaders != 0) std::abort();
  delete context;
}

std::int32_t getKrellNetworkingStatus(NetworkContext* context, std::int32_t bufferSize,
                                      char* buffer) {
  if (context == nullptr) return -1;
  std::snprintf(buffer, static_cast<std::size_t>(bufferSize), "%s",
                context->code == 0 ? "No error" : "[Context] -5: no TLS");
  return context->code;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) void initDownloaderInterface(
    DownloaderInterface* table) {
  *table = {isSituation("version 99") ? 99 : DOWNLOADER_INTERFACE_VERSION,
            createDownloader,
            destroyDownloader,
            runDownload,
            checkForUpdate,
            createNetworkContext,
            destroyNetworkContext,
            getKrellNetworkingStatus};
}

/// From now on, until another is chosen.
extern "C" __attribute__((visibility("default"))) void chooseFakeSituation(const char* situation) {
  chosenSituation = situation;
}

/// Handles that were made and have not been given back.
extern "C" __attribute__((visibility("default"))) int fakeHandles() {
  return downloaders + contexts;
}
