// Defines the only function that the module exports.
#ifdef _WIN32
#define MTLLIB_EXPORT __declspec(dllexport)
// Declared before the header, which is for hosts, does: Microsoft's compiler takes the attribute
// from the first declaration alone.
struct DownloaderInterface;
extern "C" MTLLIB_EXPORT void initDownloaderInterface(DownloaderInterface* table);
#else
#define MTLLIB_EXPORT __attribute__((visibility("default")))
#endif

#include "plugin/entry_points.h"

extern "C" MTLLIB_EXPORT void initDownloaderInterface(DownloaderInterface* table) {
  fillDownloaderInterface(table);
}
