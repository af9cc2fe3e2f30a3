// Tests the Cache-Control that is set for files, and the configuration for nginx.
#include "mtlpublish/cache_rules.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using mtlpublish::CacheRule;
using mtlpublish::controlOnServer;
using mtlpublish::Glob;
using mtlpublish::nginxMap;
using testing::HasSubstr;

std::vector<CacheRule> rulesFor(const std::string& pattern) {
  std::string problem;
  return {{*Glob::parse(pattern, problem), "max-age=5"}};
}

TEST(CacheRules, AreNotForStampsAndLists) {
  const auto rules = rulesFor("*");
  for (const char* place : {"", "beta/", "beta/library/"}) {
    const std::string folder = place;
    EXPECT_EQ(controlOnServer(rules, folder + "id.txt"), "max-age=60");
    EXPECT_EQ(controlOnServer(rules, folder + "filelist.json"), "no-cache");
    EXPECT_EQ(controlOnServer(rules, folder + "filelist.json.gz"), "no-cache");
    EXPECT_EQ(controlOnServer(rules, folder + "changes/" + std::string(64, 'a') + ".gz"),
              "no-cache");
  }
  for (const char* file : {"my-id.txt", "id.txt/a", "a-filelist.json", "changes/a.gz", "a"})
    EXPECT_EQ(controlOnServer(rules, file), "max-age=5") << file;
}

TEST(CacheRules, AreWrittenForNginxBelowThePathOfTheLibrary) {
  EXPECT_THAT(nginxMap(rulesFor("maps/*"), std::nullopt),
              HasSubstr("\"~(*UTF)^/[^/]+/maps/.*$\"  \"max-age=5\";\n"));
  EXPECT_THAT(nginxMap(rulesFor("maps/*"), "a.b/lib"),
              HasSubstr("\"~(*UTF)^/a\\.b/lib/maps/.*$\"  "));
  EXPECT_THAT(nginxMap(rulesFor("maps/*"), ""), HasSubstr("\"~(*UTF)^/maps/.*$\"  "));
}

TEST(CacheRules, AreWrittenForNginxWithoutWhatItsParserTakesForItself) {
  const std::string pattern = "a \"b\";{$}\\é/";
  EXPECT_THAT(nginxMap(rulesFor(pattern), ""),
              HasSubstr("\"~(*UTF)^/a\\x{20}\\x{22}b\\x{22}\\x{3b}\\x{7b}\\x{24}\\x{7d}\\x{5c}"
                        "\\x{e9}/$\"  \"max-age=5\";\n"));
}

}  // namespace
