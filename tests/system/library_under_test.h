// Gives tests the table of entry points, from the built module or from the same code linked into
// the test program.
#ifndef MTLLIB_TESTS_SYSTEM_LIBRARY_UNDER_TEST_H_
#define MTLLIB_TESTS_SYSTEM_LIBRARY_UNDER_TEST_H_

#include <memory>

#include "mtllib/downloader_interface.h"
#include "support/dynamic_library.h"

/// The library, loaded as long as this lives.
class LibraryUnderTest {
 public:
  LibraryUnderTest();
  ~LibraryUnderTest();

  void fill(DownloaderInterface* table) const { fill_(table); }

 private:
  std::unique_ptr<DynamicLibrary> module_;  ///< Null when linked.
  InitDownloaderInterfaceFunction fill_ = nullptr;
};

#endif  // MTLLIB_TESTS_SYSTEM_LIBRARY_UNDER_TEST_H_
