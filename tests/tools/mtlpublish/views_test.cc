// Tests views: lists of the same files for clients that give a sub-path.
#include "mtlpublish/views.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "mtlpublish/publisher.h"
#include "mtlpublish/rollback.h"
#include "mtlpublish/verify.h"
#include "rules/list_entry.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using mtlpublish::Glob;
using mtlpublish::PublishOptions;
using mtlpublish::PublishResult;
using mtlpublish::View;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

Glob pattern(const std::string& text) {
  std::string problem;
  return *Glob::parse(text, problem);
}

class Views : public testing::Test {
 protected:
  Views() {
    options_.address = "https://materials.example/library";
    options_.keep = 2;
    View beta{"beta"};
    beta.files = {pattern("*.mat"), pattern("new/*")};
    beta.exclude = {pattern("old*")};
    beta.policies = {{pattern("new/*"), mtlrules::DownloadPolicy::kMissing}};
    options_.views = {beta, View{"all/of/it"}};
    for (const char* path : {"a.mat", "old.mat", "b.tx", "new/c.tx"})
      add(path, path);
  }

  void add(const std::string& path, const std::string& content) { writeFile(dir_ / path, content); }
  PublishResult build() {
    options_.start = std::chrono::system_clock::now();
    return mtlpublish::publish(dir_.path(), options_);
  }
  std::string read(const std::string& path) { return readFile(dir_ / path); }
  bool isThere(const std::string& path) { return fs::exists(dir_.path() / path); }
  /// Without what is the publisher's own.
  std::map<std::string, std::string> published() {
    std::map<std::string, std::string> files;
    for (auto& [path, content] : readTree(dir_ / "")) {
      if (path.find(".mtlpublish") == path.npos) files.emplace(path, content);
    }
    return files;
  }

  TempDir dir_;
  PublishOptions options_;
};

TEST_F(Views, HaveListsAndStampsOfTheirOwn) {
  const PublishResult result = build();
  EXPECT_THAT(result.problems, IsEmpty());
  EXPECT_THAT(result.warnings, IsEmpty());
  ASSERT_EQ(result.views.size(), 2U);
  EXPECT_EQ(result.files, 4U);
  EXPECT_EQ(result.views[0].files, 2U);
  EXPECT_EQ(result.views[1].files, 4U);
  EXPECT_EQ(result.views[0].listUrl, "https://materials.example/beta/library/filelist.json");
  EXPECT_THAT(read("beta/filelist.json"),
              AllOf(HasSubstr("\"a.mat\""), HasSubstr("\"missing\",\"path\":\"new/c.tx\""),
                    Not(HasSubstr("b.tx")), Not(HasSubstr("old.mat"))));
  EXPECT_THAT(read("filelist.json"), HasSubstr("\"always\",\"path\":\"new/c.tx\""));
  EXPECT_EQ(read("all/of/it/filelist.json"), read("filelist.json"));
  EXPECT_THAT(read("beta/id.txt"), StartsWith(result.views[0].id + "\n"));
  for (const char* subPath : {"", "beta", "all/of/it"}) {
    mtlpublish::VerifyOptions options;
    options.subPath = subPath;
    EXPECT_THAT(mtlpublish::verifyFolder(dir_.path(), options).problems, IsEmpty()) << subPath;
  }
}

TEST_F(Views, AreNewWhenWhatTheyHaveIsNew) {
  build();
  PublishResult result = build();
  EXPECT_FALSE(result.isNew || result.views[0].isNew || result.views[1].isNew);
  EXPECT_EQ(result.files, 4U) << "the lists and stamps of views are no files of the library";
  add("b.tx", "changed");
  result = build();
  EXPECT_TRUE(result.isNew);
  EXPECT_FALSE(result.views[0].isNew);
  EXPECT_TRUE(result.views[1].isNew);
  EXPECT_THAT(result.views[1].changes->changed, ElementsAre("b.tx"));
  EXPECT_EQ(result.views[1].byKit.requests, 3U);
}

TEST_F(Views, AreSignedWithTheLibraryEachForItsSubPath) {
  options_.signing.way = mtlpublish::SigningOptions::Way::kKey;
  options_.signing.key = mtlsigning::SecretKey::generate();
  options_.signing.library = "oak";
  PublishResult result = build();
  EXPECT_THAT(result.problems, IsEmpty());
  EXPECT_EQ(result.release->subPath, "");
  EXPECT_EQ(result.views[0].release->subPath, "beta");
  mtlpublish::VerifyOptions options;
  options.keys = {options_.signing.key->publicKey()};
  options.subPath = "beta";
  EXPECT_THAT(mtlpublish::verifyFolder(dir_.path(), options).problems, IsEmpty());
  for (const std::string name : {"id.txt", "filelist.json", "filelist.json.gz"})
    add("beta/" + name, read("all/of/it/" + name));
  EXPECT_THAT(mtlpublish::verifyFolder(dir_.path(), options).problems,
              ElementsAre("id.txt: is signed for the sub-path \"all/of/it\""));
  options_.signing.library = "";
  result = build();
  EXPECT_THAT(result.problems, IsEmpty());
  EXPECT_EQ(result.views[0].release->library, "oak") << "as the library's, which is known";
}

TEST_F(Views, AreBuiltAllOrNone) {
  build();
  const auto before = published();
  add("a.mat", "changed");
  // A file cannot take the place of a folder.
  options_.onProgress = [&](const mtlpublish::WorkProgress& /*progress*/) {
    fs::remove(dir_.path() / "all/of/it/id.txt");
    add("all/of/it/id.txt/inner", "");
  };
  EXPECT_THAT(build().problems, ElementsAre(StartsWith("all/of/it/id.txt: cannot be written: ")));
  for (const char* name :
       {"filelist.json", "id.txt", "beta/filelist.json", "beta/id.txt", "all/of/it/filelist.json"})
    EXPECT_EQ(read(name), before.at(name)) << name;
}

TEST_F(Views, LeaveNothingBehind) {
  build();
  options_.views.pop_back();
  const PublishResult result = build();
  EXPECT_THAT(result.problems, IsEmpty());
  EXPECT_EQ(result.files, 4U);
  EXPECT_FALSE(isThere("all"));
  EXPECT_TRUE(isThere("beta/id.txt"));
  add("beta/kept.txt", "a file of the library");
  options_.views.clear();
  EXPECT_EQ(build().files, 5U);
  EXPECT_FALSE(isThere("beta/id.txt"));
  EXPECT_FALSE(isThere("beta/filelist.json"));
  EXPECT_TRUE(isThere("beta/kept.txt"));
  EXPECT_EQ(build().files, 5U);
}

TEST_F(Views, ArePublishedAgainWithTheBuildBefore) {
  build();
  const auto before = published();
  add("a.mat", "changed");
  options_.views[0].files = {pattern("b.tx")};
  options_.views[1].subPath = "later";
  const PublishResult last = build();
  EXPECT_THAT(last.problems, IsEmpty());
  EXPECT_THAT(mtlpublish::rollback(dir_.path(), options_.signing, options_.differences,
                                   std::chrono::system_clock::now())
                  .problems,
              IsEmpty());
  for (const auto& [path, content] : before) {
    if (path.find("id.txt") == path.npos) {
      EXPECT_EQ(read(path), content) << path;
    }
  }
  EXPECT_FALSE(isThere("later"));
  EXPECT_NE(read("beta/id.txt"), before.at("beta/id.txt")) << "which clients may hold";
  EXPECT_THAT(read("beta/id.txt"), Not(StartsWith(last.views[0].id)));
  EXPECT_THAT(mtlpublish::readViews(dir_.path()).subPaths, ElementsAre("beta", "all/of/it"));
}

TEST_F(Views, AreRefusedWhereTheyHaveNoPlace) {
  add("beta", "a file");
  options_.views[1].subPath = "nul";
  View other{"NUL"};
  options_.views.push_back(other);
  std::error_code noLinks;
  fs::create_directory_symlink(dir_.path() / "new", dir_.path() / "linked", noLinks);
  if (!noLinks) options_.views.push_back(View{"linked"});
  std::vector<std::string> problems = build().problems;
  EXPECT_THAT(problems, testing::Contains("beta: not a folder, where a view is to be"));
  EXPECT_THAT(problems, testing::Contains(HasSubstr("Windows cannot hold the name \"nul\"")));
  EXPECT_THAT(problems, testing::Contains(HasSubstr("differs from \"nul/id.txt\"")));
  if (!noLinks) {
    EXPECT_THAT(problems, testing::Contains("linked: not a folder, where a view is to be"));
  }
  EXPECT_FALSE(isThere("id.txt"));
}

TEST_F(Views, HavePatternsThatSelectNothingReported) {
  options_.views[0].files = {pattern("*.none")};
  EXPECT_THAT(build().warnings, testing::Contains("view 'beta': files '*.none' matches no file"));
}

TEST(View, HasASubPathThatIsFree) {
  using mtlpublish::viewPathProblem;
  EXPECT_EQ(viewPathProblem("beta"), "");
  EXPECT_EQ(viewPathProblem("beta/2"), "");
  for (const char* wrong : {"", "/", "../x", "a//b", "a/", "a\\b"})
    EXPECT_EQ(viewPathProblem(wrong), "is not the way to write a sub-path") << wrong;
  for (const char* taken :
       {".mtllib", ".x/y", "id.txt", "ID.TXT/a", "library.toml", "filelist.json"})
    EXPECT_EQ(viewPathProblem(taken), "begins with a name that is not free") << taken;
}

TEST(View, HasItsListInFrontOfTheLibrary) {
  using mtlpublish::listPlace;
  EXPECT_EQ(listPlace("", ""), "filelist.json");
  EXPECT_EQ(listPlace("library", ""), "library/filelist.json");
  EXPECT_EQ(listPlace("a/library", "beta"), "beta/a/library/filelist.json");
  EXPECT_EQ(mtlpublish::addressPath("https://materials.example/a/library"), "a/library");
  EXPECT_EQ(mtlpublish::addressPath("https://materials.example"), "");
}

}  // namespace
