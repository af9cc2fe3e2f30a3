// Finding and loading the plug-in.
#include "mtlsync/module.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "support/regex_matchers.h"
#include "support/temp_dir.h"
#include "system_words.h"

namespace mtlsync {
namespace {

/// The name with this system's separators.
std::string native(const std::string& name) {
  return std::filesystem::u8path(name).make_preferred().u8string();
}

/// Expects a refusal; its lines.
std::vector<std::string> refusalOf(const std::string& file,
                                   const std::vector<std::string>& candidates = {}) {
  ErrorEntries problem;
  EXPECT_EQ(Module::load(file, candidates, problem), nullptr);
  return errorLines(problem, false);
}

TEST(ModuleCandidates, BeginBesideTheProgram) {
  const std::vector<std::string> candidates = moduleCandidates("/opt/x/bin");
  ASSERT_FALSE(candidates.empty());
  EXPECT_EQ(candidates.front(), native("/opt/x/bin/" + moduleFileName()));
  // Windows has installed libraries beside the programs too.
  if (moduleFileName() != "mtllib.dll") {
    ASSERT_EQ(candidates.size(), 2U);
    EXPECT_EQ(candidates.front(), "/opt/x/bin/libmtllib.so");
    EXPECT_THAT(candidates.back(), MatchesPattern("/opt/x/lib.*/libmtllib\\.so"));
  }
}

TEST(ModuleCandidates, NameNoFileTwice) {
  const std::vector<std::string> candidates = moduleCandidates("/opt/x/bin");
  EXPECT_EQ(std::set<std::string>(candidates.begin(), candidates.end()).size(), candidates.size());
}

TEST(ModuleLoad, TakesTheFirstCandidateThatExists) {
  ErrorEntries problem;
  const auto module =
      Module::load("", {"/nowhere/a.so", MTLSYNC_FAKE_MODULE, MTLSYNC_NO_MODULE}, problem);
  ASSERT_NE(module, nullptr);
  EXPECT_TRUE(problem.empty());
  EXPECT_EQ(module->table().version, 100);
}

TEST(ModuleLoad, TellsWhereItLooked) {
  EXPECT_THAT(refusalOf("", {"/nowhere/a.so", "/nowhere/b.so"}),
              testing::ElementsAre("Could not find the module; --module FILE names it",
                                   "  because: there is no \"/nowhere/a.so\"",
                                   "  because: there is no \"/nowhere/b.so\""));
}

TEST(ModuleLoad, LooksForANamedFileNowhereElse) {
  const TempDir dir;
  const std::string file = native(dir / "a.so");
  const auto lines = refusalOf(file, {MTLSYNC_FAKE_MODULE});
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0], "Could not use the module \"" + file + "\"");
  EXPECT_EQ(lines[1], "  because: " + missingText(file));
}

TEST(ModuleLoad, CountsABareNameFromTheCurrentFolder) {
  const std::string here = std::filesystem::current_path().u8string();
  for (const std::string name : {"libc.so.6", "version.dll"}) {
    EXPECT_EQ(refusalOf(name).front(),
              "Could not use the module \"" + native(here + "/" + name) + "\"");
  }
}

TEST(ModuleLoad, RefusesWhatIsNoLibrary) {
  const TempDir dir;
  writeFile(dir / "text.so", "no library");
  EXPECT_EQ(refusalOf(dir / "text.so").front(),
            "Could not use the module \"" + native(dir / "text.so") + "\"");
}

TEST(ModuleLoad, RefusesALibraryThatIsNoModule) {
  EXPECT_EQ(refusalOf(MTLSYNC_NO_MODULE).back(), "  because: it has no initDownloaderInterface()");
}

}  // namespace
}  // namespace mtlsync
