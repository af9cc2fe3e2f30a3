// Declares the entry points that fill the module's table; see mtllib/downloader_interface.h.
#ifndef MTLLIB_PLUGIN_ENTRY_POINTS_H_
#define MTLLIB_PLUGIN_ENTRY_POINTS_H_

#include "mtllib/downloader_interface.h"

/// Writes the version and the seven entry points.
void fillDownloaderInterface(DownloaderInterface* table);

#endif  // MTLLIB_PLUGIN_ENTRY_POINTS_H_
