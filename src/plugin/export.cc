// Defines the only function that the module exports.
#include "plugin/entry_points.h"

#ifdef _WIN32
#define MTLLIB_EXPORT __declspec(dllexport)
#else
#define MTLLIB_EXPORT __attribute__((visibility("default")))
#endif

extern "C" MTLLIB_EXPORT void initDownloaderInterface(DownloaderInterface* table) {
  fillDownloaderInterface(table);
}
