// DownloaderImpl: the link between one remote library and one local directory.
#ifndef MTLLIB_PLUGIN_DOWNLOADER_H_
#define MTLLIB_PLUGIN_DOWNLOADER_H_

#include <cstdint>

#include "http/http_getter.h"
#include "mtllib/char_string.h"
#include "mtllib/downloader_settings.h"
#include "mtllib/error_chain.h"
#include "mtllib/host_callback.h"
#include "qutils/stream.h"

/// Which side a path is made for.
enum class PathSide { kLocal, kRemote };

/// The chunk size of every file that is written.
constexpr std::int32_t kSaveChunkSize = 32768;

/// A downloader. A qmalloc block made by createDownloader and ended by
/// destroyDownloader; used by one thread at a time.
///
/// The operations report their failures to the callback themselves, unless they return
/// or fill an ErrorChain.
struct DownloaderImpl {
  struct ListFile;

  /// One complete synchronisation. 0 when the local copy is or was brought up to date,
  /// negative on failure.
  int download();

  // Transfer.

  /// Makes the getter for the remote address, once: later calls find it and keep it.
  /// 0 or -1.
  int initHttpGetter();
  /// Decides whether to connect through a proxy; an empty host means directly. Every
  /// decision is logged.
  void getHttpProxyForAddr(const char* host, QUtils::CharString& proxyHost, int& proxyPort);

  // Stamp.

  QUtils::CharString stampPath(PathSide side) const;
  /// Fetches the remote stamp into `stamp` and compares it with the local one: 0 same, 1
  /// different or no local one, -1 failed.
  int readRemoteIdFile(QUtils::PStream& stamp);
  /// Replaces the local stamp by the bytes of `stamp`: 0, or -1.
  int writeLocalStamp(QUtils::PStream& stamp);

  // List.

  int downloadListFile(QUtils::PStream& list);
  /// Parses the list and selects what to fetch: 0, or -1.
  int parseListFile(QUtils::PStream& stream, ListFile& list);

  // Files.

  /// Fetches and saves every entry of a list that is not empty: 0, or -1.
  int downloadFiles(const ListFile& list);
  /// Saves a body below the target directory under `localName`.
  void saveFile(ErrorChain& error, const QUtils::CharString& localName, QUtils::PStream& body);

  /// The full local path of `relative` (null allowed), or its percent-encoded URL path.
  QUtils::CharString makeFullPath(const char* relative, PathSide side) const;

  HttpGetter* httpGetter;         ///< Owned; null until initHttpGetter() made it.
  QUtils::CharString remotePath;  ///< Path part of the remote address.
  HostCallback* callback;         ///< The host's.
  DownloaderSettings* settings;   ///< The host's.
};

#endif  // MTLLIB_PLUGIN_DOWNLOADER_H_
