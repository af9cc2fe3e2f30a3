// What the list holds, byte for byte.
#include "mtlpublish/file_list.h"

#include <gtest/gtest.h>
#include <json/reader.h>

namespace {

using mtlpublish::DownloadPolicy;
using mtlpublish::fileListText;

TEST(FileList, OfNothingIsAnEmptyArrayAndANewline) {
  EXPECT_EQ(fileListText({}), "[]\n");
}

TEST(FileList, HasOneEntryALine) {
  EXPECT_EQ(fileListText({{"a b/é.png", DownloadPolicy::kAlways, 12, 0},
                          {"maps/oak.tx", DownloadPolicy::kMissing, 5'000'000'000, 77},
                          {"x", DownloadPolicy::kNever, 0, 0}}),
            "[\n"
            "{\"download\":\"always\",\"path\":\"a b/é.png\",\"size\":12},\n"
            "{\"download\":\"missing\",\"jpegSize\":77,\"path\":\"maps/oak.tx\","
            "\"size\":5000000000},\n"
            "{\"download\":\"never\",\"path\":\"x\",\"size\":0}\n"
            "]\n");
}

TEST(FileList, IsReadBackWithoutItsLastByte) {
  const std::string path = "say \"cheese\" / 100% <é木🌳>";
  const std::string text = fileListText({{path, DownloadPolicy::kAlways, 1, 0}});
  Json::Value root;
  Json::Reader reader;
  ASSERT_TRUE(reader.parse(text.data(), text.data() + text.size() - 1, root, false));
  ASSERT_EQ(root.size(), 1U);
  EXPECT_EQ(root[0]["path"].asString(), path);
}

}  // namespace
