// A silent host for benchmarks: a downloader without a network, and a directory of its own to save
// files in.
#ifndef MTLLIB_BENCH_MICRO_HOST_H_
#define MTLLIB_BENCH_MICRO_HOST_H_

#include "fakes/silent_callback.h"
#include "mtllib/downloader_settings.h"
#include "plugin/downloader.h"
#include "support/temp_dir.h"

struct Host {
  Host() { settings.targetDirectory = directory.path().generic_u8string().c_str(); }

  TempDir directory;
  SilentCallback callback;
  DownloaderSettings settings;
  DownloaderImpl downloader{nullptr, {}, &callback, &settings};
};

#endif  // MTLLIB_BENCH_MICRO_HOST_H_
