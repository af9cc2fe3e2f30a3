// Gives the table of entry points of the module's code linked into the test program.
#include "library_under_test.h"

extern "C" void initDownloaderInterface(DownloaderInterface* table);

LibraryUnderTest::LibraryUnderTest() : fill_(initDownloaderInterface) {}

LibraryUnderTest::~LibraryUnderTest() = default;
