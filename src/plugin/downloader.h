// A DownloaderImpl runs the steps of a synchronisation.
#ifndef MTLLIB_PLUGIN_DOWNLOADER_H_
#define MTLLIB_PLUGIN_DOWNLOADER_H_

#include "catalogue/library_copy.h"

/// A downloader. A qmalloc block made by createDownloader and ended by
/// destroyDownloader; used by one thread at a time.
struct DownloaderImpl : LibraryCopy {
  /// One complete synchronisation. 0 when the local copy is or was brought up to date,
  /// negative on failure.
  int download();

  /// Makes the getter for the remote address, once: later calls find it and keep it.
  /// 0 or -1.
  int initHttpGetter();
};

#endif  // MTLLIB_PLUGIN_DOWNLOADER_H_
