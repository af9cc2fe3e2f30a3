// A LibraryCopy is a remote library together with the local directory that holds its copy.
#ifndef MTLLIB_CATALOGUE_LIBRARY_COPY_H_
#define MTLLIB_CATALOGUE_LIBRARY_COPY_H_

#include <cstdint>

#include "mtllib/char_string.h"
#include "mtllib/downloader_settings.h"
#include "mtllib/error_chain.h"
#include "mtllib/host_callback.h"
#include "qutils/stream.h"

struct HttpGetter;

/// Which side a path is made for.
enum class PathSide { kLocal, kRemote };

/// The block size of the stream in memory that takes a stamp.
constexpr std::uint64_t kStampBlockSize = 4096;

/// The chunk size of every file that is written.
constexpr std::int32_t kSaveChunkSize = 32768;

/// The stamp, the list and the files of a library, and where they are. The getter must exist
/// before anything is fetched.
///
/// The operations report their failures to the callback themselves, unless they return
/// or fill an ErrorChain.
struct LibraryCopy {
  struct ListFile;

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

  HttpGetter* httpGetter;         ///< Owned; null until there is one.
  QUtils::CharString remotePath;  ///< Path part of the remote address.
  HostCallback* callback;         ///< The host's.
  DownloaderSettings* settings;   ///< The host's.
};

#endif  // MTLLIB_CATALOGUE_LIBRARY_COPY_H_
