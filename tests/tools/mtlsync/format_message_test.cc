// Messages of any length.
#include "mtlsync/format_message.h"

#include <gtest/gtest.h>

namespace mtlsync {
namespace {

__attribute__((format(printf, 1, 2))) std::string format(const char* text, ...) {
  std::va_list arguments;
  va_start(arguments, text);
  std::string message = formatMessage(text, arguments);
  va_end(arguments);
  return message;
}

TEST(FormatMessage, FillsInTheArguments) {
  EXPECT_EQ(format("Downloading file \"%s\" (%lli bytes)", "a b.tx", 12345678901LL),
            "Downloading file \"a b.tx\" (12345678901 bytes)");
  EXPECT_EQ(format("100 %%"), "100 %");
  EXPECT_EQ(format("%s", ""), "");
}

TEST(FormatMessage, HasNoLimit) {
  for (const std::size_t length : {1023U, 1024U, 1025U, 65536U, 200000U}) {
    const std::string argument(length, 'x');
    EXPECT_EQ(format("<%s|%s>", argument.c_str(), "end"), "<" + argument + "|end>");
  }
}

}  // namespace
}  // namespace mtlsync
