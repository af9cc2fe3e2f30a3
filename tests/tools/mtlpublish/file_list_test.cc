// Tests what the list holds, byte for byte.
#include "mtlpublish/file_list.h"

#include <gtest/gtest.h>
#include <json/reader.h>

namespace {

using mtlpublish::DownloadPolicy;
using mtlpublish::fileListText;
using mtlpublish::parseFileList;

TEST(FileList, OfNothingIsAnEmptyArrayAndANewline) {
  EXPECT_EQ(fileListText({}), "[]\n");
}

TEST(FileList, HasOneEntryALine) {
  EXPECT_EQ(fileListText({{"a b/é.png", DownloadPolicy::kAlways, 12, 0},
                          {"maps/oak.tx", DownloadPolicy::kMissing, 5'000'000'000, 77, "5f"},
                          {"x", DownloadPolicy::kNever, 0, 0}}),
            "[\n"
            "{\"download\":\"always\",\"path\":\"a b/é.png\",\"size\":12},\n"
            "{\"download\":\"missing\",\"jpegSize\":77,\"path\":\"maps/oak.tx\","
            "\"sha256\":\"5f\",\"size\":5000000000},\n"
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

TEST(FileList, IsReadBackWhole) {
  const auto entries =
      parseFileList(fileListText({{"b", DownloadPolicy::kMissing, 5'000'000'000, 77, "5f"},
                                  {"a/é", DownloadPolicy::kNever, 0, 0, ""},
                                  {"c", DownloadPolicy::kAlways, 3}}));
  ASSERT_TRUE(entries);
  ASSERT_EQ(entries->size(), 3U);
  EXPECT_EQ((*entries)[0].path, "a/é") << "sorted";
  EXPECT_EQ((*entries)[0].policy, DownloadPolicy::kNever);
  EXPECT_EQ((*entries)[0].fetchedSize(), 0U);
  EXPECT_EQ((*entries)[1].path, "b");
  EXPECT_EQ((*entries)[1].policy, DownloadPolicy::kMissing);
  EXPECT_EQ((*entries)[1].size, 5'000'000'000U);
  EXPECT_EQ((*entries)[1].fetchedSize(), 77U);
  EXPECT_EQ((*entries)[1].sha256, "5f");
  EXPECT_EQ((*entries)[2].policy, DownloadPolicy::kAlways);
  EXPECT_EQ((*entries)[2].fetchedSize(), 3U);
  EXPECT_TRUE(parseFileList("[]\n")->empty());
}

TEST(FileList, IsNotReadWhenItIsAnotherText) {
  for (const char* text :
       {"", "[", "{}", "1", "[1]", "[{}]", R"([{"path":"a"}])", R"([{"path":1,"size":1}])",
        R"([{"path":"a","size":-1,"download":"always"}])", R"([{"path":"a","size":1}])",
        R"([{"path":"a","size":1,"download":"often"}])",
        R"([{"path":"a","size":1,"download":"always","jpegSize":"1"}])",
        R"([{"path":"a","size":1,"download":"always","sha256":1}])"}) {
    EXPECT_FALSE(parseFileList(text)) << text;
  }
  EXPECT_FALSE(parseFileList(std::string(100'000, '[')));
}

TEST(FileList, BeginsWithTheMirrors) {
  const std::string text =
      fileListText({{"a", DownloadPolicy::kAlways, 1, 0}}, {"https://b.example/lib"});
  EXPECT_EQ(text.rfind("[\n{\"mirror\":\"https://b.example/lib\"},\n{\"download\"", 0), 0U) << text;
  ASSERT_TRUE(parseFileList(text));
  EXPECT_EQ(parseFileList(text)->size(), 1U);
  EXPECT_TRUE(parseFileList(fileListText({}, {"https://b.example/lib"}))->empty());
}

}  // namespace
