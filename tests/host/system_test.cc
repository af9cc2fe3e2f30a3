// Tests the system's texts for errors.
#include "mtlhost/system.h"

#include <gtest/gtest.h>

#include <ios>
#include <system_error>

namespace mtlhost {
namespace {

TEST(SystemErrorText, IsTheSystemsForItsErrorsAndElseTheLibrarys) {
  const int code = std::make_error_code(std::errc::no_such_file_or_directory).value();
  EXPECT_EQ(systemErrorText({code, std::system_category()}), systemErrorText(code));
  const std::error_code other = std::make_error_code(std::io_errc::stream);
  EXPECT_EQ(systemErrorText(other), other.message());
}

}  // namespace
}  // namespace mtlhost
