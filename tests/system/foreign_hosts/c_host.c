/* A host in plain C that knows the library by the layout of its tables and records alone.
 * usage: c_host MODULE URL DIRECTORY */
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "host_platform.h"

/* A text: a pointer to a record of four words, with functions of the side that made it. */
typedef struct TextRecord {
  void* (*reallocate)(void* block, size_t size);
  void (*release)(void* block);
  char* data;
  uint32_t references;
} TextRecord;

typedef struct Settings {
  TextRecord* remoteAddress;
  int32_t proxyMode; /* 0 system, 2 explicit, 3 none */
  TextRecord* proxyAddress;
  TextRecord* targetDirectory;
  TextRecord* subPath;
} Settings;

typedef struct ErrorRecord {
  const char* tag;
  char message[512];
  int32_t code;
  struct ErrorRecord* next;
  void (*release)(void* record);
  uint32_t references;
} ErrorRecord;

typedef struct Progress {
  uint32_t abort;
  int64_t receivedBytes;
} Progress;

/* The object that the library calls back: its first word points at the table. */
typedef struct Host Host;
typedef struct HostTable {
  void (*setProgressRange)(Host* host, int end);
  void (*setProgressValue)(Host* host, int permille);
  void (*setProgressText)(Host* host, const char* text);
  int (*isAborted)(Host* host, void* request, Progress* progress, void* response);
  void (*beginProgress)(Host* host);
  void (*endProgress)(Host* host);
  void (*logStage)(Host* host, const char* format, ...);
  void (*logTaggedError)(Host* host, const char* tag, int code, const char* format, ...);
  void (*reportError)(Host* host, ErrorRecord** chain);
  void (*logWarning)(Host* host, const char* format, ...);
  void (*logInfo)(Host* host, const char* format, ...);
} HostTable;

struct Host {
  const HostTable* table;
  int range;
  int value;
  int64_t mostBytes;
  int begun;
  int ended;
  ErrorRecord* error;
};

typedef struct Library {
  int32_t version;
  void* (*createDownloader)(Host* host, Settings* settings);
  void (*destroyDownloader)(void* downloader);
  int32_t (*runDownload)(void* downloader);
  int32_t (*checkForUpdate)(void* downloader);
  void* (*createNetworkContext)(void);
  void (*destroyNetworkContext)(void* context);
  int32_t (*getKrellNetworkingStatus)(void* context, int32_t bufferSize, char* buffer);
} Library;

/* Memory of our own kind: the C runtime's free would not like what we hand out. */
enum { kHeader = 16 };
static int blocksInUse = 0;

static void* ownReallocate(void* block, size_t size) {
  char* old = block != NULL ? (char*)block - kHeader : NULL;
  char* resized = (char*)realloc(old, size + kHeader);
  if (resized == NULL) return NULL;
  if (block == NULL) ++blocksInUse;
  return resized + kHeader;
}

static void ownRelease(void* block) {
  if (block == NULL) return;
  --blocksInUse;
  free((char*)block - kHeader);
}

static TextRecord* makeText(const char* text) {
  TextRecord* record = (TextRecord*)ownReallocate(NULL, sizeof(TextRecord));
  record->reallocate = ownReallocate;
  record->release = ownRelease;
  record->data = (char*)ownReallocate(NULL, strlen(text) + 1);
  strcpy(record->data, text);
  record->references = 1;
  return record;
}

/* Drops the host's reference; nobody else runs any more. */
static void releaseText(TextRecord* record) {
  if (record == NULL || --record->references != 0) return;
  void (*const release)(void*) = record->release;
  release(record->data);
  release(record);
}

static void releaseError(ErrorRecord* record) {
  while (record != NULL && --record->references == 0) {
    ErrorRecord* next = record->next;
    record->next = NULL;
    record->release(record);
    record = next;
  }
}

static void print(const char* kind, const char* format, va_list arguments) {
  printf("%s: ", kind);
  vprintf(format, arguments);
  printf("\n");
}

static void setProgressRange(Host* host, int end) {
  host->range = end;
}
static void setProgressValue(Host* host, int permille) {
  host->value = permille;
}
static void setProgressText(Host* host, const char* text) {
  (void)host;
  printf("text: %s\n", text);
}
static int isAborted(Host* host, void* request, Progress* progress, void* response) {
  (void)request;
  (void)response;
  if (progress->receivedBytes > host->mostBytes) host->mostBytes = progress->receivedBytes;
  return 0;
}
static void beginProgress(Host* host) {
  ++host->begun;
}
static void endProgress(Host* host) {
  ++host->ended;
}
static void logStage(Host* host, const char* format, ...) {
  va_list arguments;
  (void)host;
  va_start(arguments, format);
  print("stage", format, arguments);
  va_end(arguments);
}
static void logTaggedError(Host* host, const char* tag, int code, const char* format, ...) {
  va_list arguments;
  (void)host;
  printf("[%s] %d ", tag, code);
  va_start(arguments, format);
  print("tagged", format, arguments);
  va_end(arguments);
}
static void reportError(Host* host, ErrorRecord** chain) {
  host->error = *chain;
  ++host->error->references;
}
static void logWarning(Host* host, const char* format, ...) {
  va_list arguments;
  (void)host;
  va_start(arguments, format);
  print("warning", format, arguments);
  va_end(arguments);
}
static void logInfo(Host* host, const char* format, ...) {
  va_list arguments;
  (void)host;
  va_start(arguments, format);
  print("info", format, arguments);
  va_end(arguments);
}

static const HostTable table = {setProgressRange, setProgressValue, setProgressText, isAborted,
                                beginProgress,    endProgress,      logStage,        logTaggedError,
                                reportError,      logWarning,       logInfo};

/* The library writes its default address into an empty text that we made, through our
 * functions. */
static void showDefaultAddress(const Library* library) {
  Host host = {&table, 0, 0, 0, 0, 0, NULL};
  Settings settings = {makeText(""), 3, NULL, NULL, NULL};
  void* downloader = library->createDownloader(&host, &settings);
  printf("default: %s\n", settings.remoteAddress->data);
  library->destroyDownloader(downloader);
  releaseText(settings.remoteAddress);
}

static int synchronise(const Library* library, const char* address, const char* directory) {
  Host host = {&table, 0, 0, 0, 0, 0, NULL};
  Settings settings = {makeText(address), 3, NULL, makeText(directory), NULL};
  void* downloader = library->createDownloader(&host, &settings);
  printf("check: %d\n", (int)library->checkForUpdate(downloader));
  const int result = (int)library->runDownload(downloader);
  library->destroyDownloader(downloader);
  releaseText(settings.remoteAddress);
  releaseText(settings.targetDirectory);

  printf("progress: %d of %d, %d bytes, begun %d, ended %d\n", host.value, host.range,
         (int)host.mostBytes, host.begun, host.ended);
  for (const ErrorRecord* record = host.error; record != NULL; record = record->next) {
    printf("error: [%s] %d: %s\n", record->tag, (int)record->code, record->message);
  }
  releaseError(host.error);
  return result;
}

int main(int argc, char** argv) {
  printBytesAsTheyAre();
  Export symbol = argc == 4 ? findExport(argv[1], "initDownloaderInterface") : NULL;
  void (*initialize)(Library*) = NULL;
  if (symbol == NULL) return 2;
  memcpy(&initialize, &symbol, sizeof(symbol));
  Library library;
  initialize(&library);
  if (library.version != 100) return 3;

  void* network = library.createNetworkContext();
  char status[64];
  if (library.getKrellNetworkingStatus(network, sizeof(status), status) != 0) return 4;
  printf("network: %s\n", status);

  showDefaultAddress(&library);
  const int result = synchronise(&library, argv[2], argv[3]);
  library.destroyNetworkContext(network);
  printf("result: %d, blocks in use: %d\n", result, blocksInUse);
  return result == 0 ? 0 : 1;
}
