/// @file
/// DownloaderInterface: the table of entry points behind the library's one export.
///
/// A host loads the module (dlopen, LoadLibrary), looks up
/// "initDownloaderInterface", lets it fill a DownloaderInterface, and continues in this
/// order:
///
///   1. check that `version` is DOWNLOADER_INTERFACE_VERSION;
///   2. createNetworkContext, then getKrellNetworkingStatus: a code other than 0 means
///      that no downloader should be used;
///   3. createDownloader with the host's callback and settings;
///   4. checkForUpdate and runDownload, as often as needed, one at a time;
///   5. destroyDownloader, then destroyNetworkContext.
///
/// Threads: every entry does its work on the calling thread and returns when it is
/// done. Different downloaders may run on different threads at once; one downloader
/// must not be used by two. Create the first and destroy the last network context
/// while no downloader runs.
///
/// Unloading: the module stays in memory until the process ends, even if the host unloads it
/// (dlclose, FreeLibrary). Settings that it filled in and copies of error chains can still be used
/// and released afterwards. Destroy handles before unloading.
///
/// Errors: a null handle gives -1 or does nothing. No exception leaves an entry, except
/// std::bad_alloc when memory runs out.
///
/// @since 1.0
#ifndef MTLLIB_DOWNLOADER_INTERFACE_H_
#define MTLLIB_DOWNLOADER_INTERFACE_H_

#include <cstddef>
#include <cstdint>

#include "mtllib/downloader_settings.h"
#include "mtllib/host_callback.h"

/// Handles, opaque to the host.
struct DownloaderImpl;
struct NetworkContext;

/// The version of the table below, of the records and of HostCallback.
constexpr std::int32_t DOWNLOADER_INTERFACE_VERSION = 100;

extern "C" {

/// Filled by initDownloaderInterface; the storage is the host's. The field order is
/// fixed.
struct DownloaderInterface {
  /// DOWNLOADER_INTERFACE_VERSION of the module.
  std::int32_t version;

  /// Creates a downloader, or returns null when memory runs out. It keeps both pointers but owns
  /// neither. An empty settings->remoteAddress is replaced by the default address.
  DownloaderImpl* (*createDownloader)(HostCallback* callback, DownloaderSettings* settings);

  /// Ends the downloader's connections and frees it; null is ignored.
  void (*destroyDownloader)(DownloaderImpl* downloader);

  /// Brings the target directory up to date. Returns 0 if it is or was brought up to date, and a
  /// negative value on failure, which is reported to the callback. A failed run leaves the old
  /// stamp in place, so that the next run starts over.
  std::int32_t (*runDownload)(DownloaderImpl* downloader);

  /// Checks whether the remote library has changed, without writing anything. Returns a value above
  /// 0 if an update is available, 0 if not, and a negative value on failure.
  std::int32_t (*checkForUpdate)(DownloaderImpl* downloader);

  /// Starts the networking library. Returns null only when memory runs out;
  /// getKrellNetworkingStatus reports whether it started.
  NetworkContext* (*createNetworkContext)();

  /// Stops the networking library; null is ignored.
  void (*destroyNetworkContext)(NetworkContext* context);

  /// Writes the context's state as text into `buffer`, at most `bufferSize` bytes
  /// including the terminator ("No error" when all is well), and returns its code:
  /// 0, or that of the failure; -1 for a null context.
  std::int32_t (*getKrellNetworkingStatus)(NetworkContext* context, std::int32_t bufferSize,
                                           char* buffer);
};

/// The module's one export. It may be called any number of times and only writes the
/// table; `table` must not be null. A host that loads the module looks it up by name; one
/// that links the module calls it.
void initDownloaderInterface(DownloaderInterface* table);

/// The type of that function, for the result of a look-up.
using InitDownloaderInterfaceFunction = void (*)(DownloaderInterface* table);
}

/// The name under which a host looks the export up.
constexpr const char* INIT_DOWNLOADER_INTERFACE_NAME = "initDownloaderInterface";

static_assert(offsetof(DownloaderInterface, version) == 0, "table layout");
static_assert(offsetof(DownloaderInterface, createDownloader) == 8, "table layout");
static_assert(offsetof(DownloaderInterface, destroyDownloader) == 16, "table layout");
static_assert(offsetof(DownloaderInterface, runDownload) == 24, "table layout");
static_assert(offsetof(DownloaderInterface, checkForUpdate) == 32, "table layout");
static_assert(offsetof(DownloaderInterface, createNetworkContext) == 40, "table layout");
static_assert(offsetof(DownloaderInterface, destroyNetworkContext) == 48, "table layout");
static_assert(offsetof(DownloaderInterface, getKrellNetworkingStatus) == 56, "table layout");
static_assert(sizeof(DownloaderInterface) == 64, "table layout");

#endif  // MTLLIB_DOWNLOADER_INTERFACE_H_
