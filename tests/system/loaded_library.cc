// Gives the table of entry points of the built module, loaded as a host does: through its one
// export.
#include <cstdio>
#include <cstdlib>

#include "library_under_test.h"

LibraryUnderTest::LibraryUnderTest() : module_(std::make_unique<DynamicLibrary>(MTLLIB_MODULE)) {
  void* symbol = module_->symbol(INIT_DOWNLOADER_INTERFACE_NAME);
  if (symbol == nullptr) {
    std::fprintf(stderr, "%s\n", module_->error().c_str());
    std::abort();
  }
  fill_ = reinterpret_cast<InitDownloaderInterfaceFunction>(symbol);
}

LibraryUnderTest::~LibraryUnderTest() = default;
