// Names of the local copy.
#include "mtlsync/local_copy.h"

#include <gtest/gtest.h>

#include <ios>
#include <system_error>

#include "mtlhost/system.h"

namespace mtlsync {
namespace {

TEST(StampFile, LiesBelowTheSubPath) {
  Options options;
  options.directory = "copy";
  EXPECT_EQ(stampFile(options).name, "id.txt");
  options.subPath = "beta/x";
  EXPECT_EQ(stampFile(options).name, "beta/x/id.txt");
  EXPECT_EQ(stampFile(options).path, std::filesystem::u8path("copy/beta/x/id.txt"));
}

TEST(ReasonText, IsTheSystemsForItsErrorsAndElseTheLibrarys) {
  const int code = std::make_error_code(std::errc::no_such_file_or_directory).value();
  EXPECT_EQ(reasonText({code, std::system_category()}), mtlhost::systemErrorText(code));
  const std::error_code other = std::make_error_code(std::io_errc::stream);
  EXPECT_EQ(reasonText(other), other.message());
}

}  // namespace
}  // namespace mtlsync
