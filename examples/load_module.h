// Loads the module, in the way of each system.
#ifndef MTLLIB_EXAMPLES_LOAD_MODULE_H_
#define MTLLIB_EXAMPLES_LOAD_MODULE_H_

#include <mtllib/downloader_interface.h>

/// The one export of the module in `file`, which stays loaded; null when there is none.
InitDownloaderInterfaceFunction loadModule(const char* file);

#endif  // MTLLIB_EXAMPLES_LOAD_MODULE_H_
