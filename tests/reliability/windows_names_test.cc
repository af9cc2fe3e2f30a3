// Names that Windows takes for something else than a file. The rule is text only, so it
// is tested wherever the tests run.
#include <gtest/gtest.h>

#include "platform/file_names.h"

namespace {

using Platform::isOrdinaryName;

TEST(WindowsNames, OfDevicesAreNoFiles) {
  for (const char* name :
       {"CON", "prn", "Aux", "NUL", "nul.txt", "nul.tar.gz", "NUL  ", "nul .txt", "com0", "COM1",
        "com9.tx", "LPT1", "lpt9", "COM\u00B9", "LPT\u00B2", "lpt\u00B3.x", "CONIN$", "conout$"}) {
    EXPECT_FALSE(isOrdinaryName(name)) << name;
  }
}

TEST(WindowsNames, OfDrivesAndStreamsAreNoFiles) {
  for (const char* name : {"C:", ":", "a:b", "oak.tx::$DATA", "oak.tx:hidden:$DATA"}) {
    EXPECT_FALSE(isOrdinaryName(name)) << name;
  }
}

TEST(WindowsNames, ThatWouldBeCutToNothingAreNoFiles) {
  for (const char* name : {"...", ".. ", ". .", " ", "   ...   "}) {
    EXPECT_FALSE(isOrdinaryName(name)) << name;
  }
}

TEST(WindowsNames, ThatOnlyLookLikeDevicesAreFiles) {
  for (const char* name :
       {"console", "nul_map.tx", "aux1", "com", "COM10", "COMA", "com\u00B4", "lpt", "mycon",
        ".nul", "a.nul", "CONIN", "oak.tx", "..a", "a..", "木"}) {
    EXPECT_TRUE(isOrdinaryName(name)) << name;
  }
}

}  // namespace
