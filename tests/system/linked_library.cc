// The same code as the module's, linked into the test program.
#include "library_under_test.h"

extern "C" void initDownloaderInterface(DownloaderInterface* table);

LibraryUnderTest::LibraryUnderTest() : fill_(initDownloaderInterface) {}

LibraryUnderTest::~LibraryUnderTest() = default;
