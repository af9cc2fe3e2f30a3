// Tests messages of every length.
#include "mtlhost/message.h"

#include <gtest/gtest.h>

namespace mtlhost {
namespace {

std::string textOf(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const Message message(format, arguments);
  EXPECT_STREQ(message.format(), format);
  std::string text = message.text();
  EXPECT_EQ(message.text(), text) << "the second time";
  va_end(arguments);
  return text;
}

TEST(Message, FillsInTheArguments) {
  EXPECT_EQ(textOf("Downloading file \"%s\" (%lli bytes)", "a b.tx", 12345678901LL),
            "Downloading file \"a b.tx\" (12345678901 bytes)");
  EXPECT_EQ(textOf("100 %%"), "100 %");
  EXPECT_EQ(textOf("%s", ""), "");
}

TEST(Message, HasNoLimit) {
  for (const std::size_t length : {1023U, 1024U, 1025U, 65536U, 200000U}) {
    const std::string argument(length, 'x');
    EXPECT_EQ(textOf("<%s|%s>", argument.c_str(), "end"), "<" + argument + "|end>");
  }
}

}  // namespace
}  // namespace mtlhost
