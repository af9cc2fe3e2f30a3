// Tests names that Windows takes for something other than a file. The rule is text only, so it is
// tested wherever the tests run.
#include <gtest/gtest.h>

#include "rules/windows_names.h"

namespace {

using mtlrules::isHeldByWindows;
using mtlrules::isOrdinaryOnWindows;

TEST(WindowsNames, OfDevicesAreNoFiles) {
  for (const char* name :
       {"CON", "prn", "Aux", "NUL", "nul.txt", "nul.tar.gz", "NUL  ", "nul .txt", "com0", "COM1",
        "com9.tx", "LPT1", "lpt9", "COM\u00B9", "LPT\u00B2", "lpt\u00B3.x", "CONIN$", "conout$"}) {
    EXPECT_FALSE(isOrdinaryOnWindows(name)) << name;
  }
}

TEST(WindowsNames, OfDrivesAndStreamsAreNoFiles) {
  for (const char* name : {"C:", ":", "a:b", "oak.tx::$DATA", "oak.tx:hidden:$DATA"}) {
    EXPECT_FALSE(isOrdinaryOnWindows(name)) << name;
  }
}

TEST(WindowsNames, ThatWouldBeCutToNothingAreNoFiles) {
  for (const char* name : {"...", ".. ", ". .", " ", "   ...   "}) {
    EXPECT_FALSE(isOrdinaryOnWindows(name)) << name;
  }
}

TEST(WindowsNames, ThatOnlyLookLikeDevicesAreFiles) {
  for (const char* name :
       {"console", "nul_map.tx", "aux1", "com", "COM10", "COMA", "com\u00B4", "lpt", "mycon",
        ".nul", "a.nul", "CONIN", "oak.tx", "..a", "a..", "木"}) {
    EXPECT_TRUE(isOrdinaryOnWindows(name)) << name;
  }
}

TEST(WindowsNames, AreRefusedOrCutForSomeCharacters) {
  for (const char* name : {"a?", "a*b", "<a", "a>", "a|b", "\"a\"", "a\\b", "a\x1F", "a.", "a ",
                           "a:b", "CON", "..."}) {
    EXPECT_FALSE(isHeldByWindows(name)) << name;
  }
  for (const char* name : {"a", ".a", " a", "a b.tx", "50%+#é[1]{2}~'&.tx", "木"})
    EXPECT_TRUE(isHeldByWindows(name)) << name;
}

}  // namespace
