// Finding the plug-in.
#include "mtlsync/module_search.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "mtlhost/system.h"
#include "support/regex_matchers.h"

namespace mtlsync {
namespace {

/// The name with this system's separators.
std::string native(const std::string& name) {
  return std::filesystem::u8path(name).make_preferred().u8string();
}

TEST(ModuleCandidates, BeginBesideTheProgram) {
  const std::vector<std::string> candidates = moduleCandidates("/opt/x/bin");
  ASSERT_FALSE(candidates.empty());
  EXPECT_EQ(candidates.front(), native("/opt/x/bin/" + mtlhost::moduleFileName()));
  // Windows has installed libraries beside the programs too.
  if (mtlhost::moduleFileName() != "mtllib.dll") {
    ASSERT_EQ(candidates.size(), 2U);
    EXPECT_EQ(candidates.front(), "/opt/x/bin/libmtllib.so.0");
    EXPECT_THAT(candidates.back(), MatchesPattern("/opt/x/lib.*/libmtllib\\.so\\.0"));
  }
}

TEST(ModuleCandidates, NameNoFileTwice) {
  const std::vector<std::string> candidates = moduleCandidates("/opt/x/bin");
  EXPECT_EQ(std::set<std::string>(candidates.begin(), candidates.end()).size(), candidates.size());
}

TEST(FirstExisting, TakesTheFirstCandidateThatExists) {
  ErrorEntries problem;
  EXPECT_EQ(firstExisting({"/nowhere/a.so", MTLSYNC_FAKE_MODULE, MTLSYNC_NO_MODULE}, problem),
            MTLSYNC_FAKE_MODULE);
  EXPECT_TRUE(problem.empty());
}

TEST(FirstExisting, TellsWhereItLooked) {
  ErrorEntries problem;
  EXPECT_EQ(firstExisting({"/nowhere/a.so", "/nowhere/b.so"}, problem), "");
  EXPECT_THAT(errorLines(problem, false),
              testing::ElementsAre("Could not find the module; --module FILE names it",
                                   "  because: there is no \"/nowhere/a.so\"",
                                   "  because: there is no \"/nowhere/b.so\""));
}

}  // namespace
}  // namespace mtlsync
