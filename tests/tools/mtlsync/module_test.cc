// Finding and loading the plug-in.
#include "mtlsync/module.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/temp_dir.h"

namespace mtlsync {
namespace {

using testing::HasSubstr;

/// Expects a refusal; its lines.
std::vector<std::string> refusalOf(const std::string& file,
                                   const std::vector<std::string>& candidates = {}) {
  ErrorEntries problem;
  EXPECT_EQ(Module::load(file, candidates, problem), nullptr);
  return errorLines(problem, false);
}

TEST(ModuleCandidates, BeginBesideTheProgram) {
  const std::vector<std::string> candidates = moduleCandidates("/opt/x/bin");
  ASSERT_EQ(candidates.size(), 2U);
  EXPECT_EQ(candidates[0], "/opt/x/bin/libmtllib.so");
  EXPECT_THAT(candidates[1], testing::MatchesRegex("/opt/x/lib.*/libmtllib\\.so"));
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
  const auto lines = refusalOf("/nowhere/a.so", {MTLSYNC_FAKE_MODULE});
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0], "Could not use the module \"/nowhere/a.so\"");
  EXPECT_THAT(lines[1], HasSubstr("No such file or directory"));
}

TEST(ModuleLoad, CountsABareNameFromTheCurrentFolder) {
  const std::string here = std::filesystem::current_path().u8string();
  EXPECT_EQ(refusalOf("libc.so.6").front(), "Could not use the module \"" + here + "/libc.so.6\"");
}

TEST(ModuleLoad, RefusesWhatIsNoLibrary) {
  const TempDir dir;
  writeFile(dir / "text.so", "no library");
  EXPECT_EQ(refusalOf(dir / "text.so").front(),
            "Could not use the module \"" + dir / "text.so" + "\"");
}

TEST(ModuleLoad, RefusesALibraryThatIsNoModule) {
  EXPECT_EQ(refusalOf(MTLSYNC_NO_MODULE).back(), "  because: it has no initDownloaderInterface()");
}

}  // namespace
}  // namespace mtlsync
