// Tests where hosts look for a module that they do not name.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "mtlhost/system.h"
#include "support/child_process.h"
#include "support/system_text.h"
#include "support/temp_dir.h"

namespace mtlhost {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::StartsWith;

std::string withoutCarriageReturns(std::string text) {
  text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
  return text;
}

/// A copy of a host in a folder of its own, without a module.
class ModuleLookup : public testing::Test {
 protected:
  ModuleLookup() {
    fs::create_directories(folder_);
    fs::copy_file(MODULE_HOST, fs::u8path(program_));
    // Elsewhere the host has the path of this one in itself.
    const fs::path networking = KRELL_NETWORKING;
    fs::copy_file(networking, folder_ / networking.filename());
  }

  ProcessResult run(const ChildProcess::Environment& environment = {}) const {
    ProcessResult result = runProcess({program_, "up-to-date", directory_ / "copy"}, environment);
    result.err = withoutCarriageReturns(result.err);
    return result;
  }

  TempDir directory_;
  const fs::path folder_ = directory_.path() / "bin";
  const std::string program_ = (folder_ / fs::path(MODULE_HOST).filename()).u8string();
  const std::string module_ = moduleFileName();
};

TEST_F(ModuleLookup, TellsWhereItLooked) {
  const ProcessResult result = run({{"LD_LIBRARY_PATH", ""}});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(
      result.err,
      StartsWith("Could not find the module \"" + module_ + "\" in \"" + folder_.u8string() +
                 "\" or where the system looks; moduleFile names it\n" + module_ + ": "));
  const std::string reason =
      systemText(126, "cannot open shared object file: No such file or directory");
  EXPECT_THAT(result.err, HasSubstr(withoutCarriageReturns(reason)));
}

TEST_F(ModuleLookup, TakesTheOneBesideTheProgram) {
  fs::copy_file(FAKE_MODULE, folder_ / module_);
  const ProcessResult result = run();
  EXPECT_EQ(result.exitCode, 0) << result.err;
  writeFile((folder_ / module_).u8string(), "is not a module, and no other is taken instead");
  EXPECT_THAT(run({{"LD_LIBRARY_PATH", fs::path(MTLLIB_MODULE).parent_path().u8string()}}).err,
              HasSubstr((folder_ / module_).u8string()));
}

TEST_F(ModuleLookup, TakesNoneInTheCurrentFolder) {
  const fs::path before = fs::current_path();
  const fs::path current = directory_.path() / "current";
  fs::create_directories(current);
  fs::copy_file(FAKE_MODULE, current / module_);
  fs::current_path(current);
  const ProcessResult result = run({{"LD_LIBRARY_PATH", "/nowhere"}});
  fs::current_path(before);
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.err, HasSubstr("Could not find the module"));
}

TEST_F(ModuleLookup, TakesTheOneThatTheSystemsLoaderFinds) {
  if (module_ == "mtllib.dll") GTEST_SKIP() << "on Windows, PATH is not searched";
  const fs::path libraries = directory_.path() / "lib";
  fs::create_directories(libraries);
  fs::copy_file(FAKE_MODULE, libraries / module_);
  const ProcessResult result = run({{"LD_LIBRARY_PATH", libraries.u8string()}});
  EXPECT_EQ(result.exitCode, 0) << result.err;
}

}  // namespace
}  // namespace mtlhost
