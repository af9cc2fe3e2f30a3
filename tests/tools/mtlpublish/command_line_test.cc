// The program as its users see it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "support/child_process.h"
#include "support/regex_matchers.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::StartsWith;

class CommandLine : public testing::Test {
 protected:
  ProcessResult run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), MTLPUBLISH);
    return runProcess(arguments);
  }

  /// Expects a refusal in two lines, the first of them `message`.
  void expectUsageError(const std::vector<std::string>& arguments, const std::string& message) {
    const ProcessResult result = run(arguments);
    EXPECT_EQ(result.exitCode, 2) << message;
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err,
              "mtlpublish: " + message + "\nRun mtlpublish --help for more information.\n");
  }

  TempDir dir_;
};

TEST_F(CommandLine, RefusesWrongUsageInTwoLines) {
  writeFile(dir_ / "a", "1");
  const std::string folder = dir_ / "";
  expectUsageError({}, "a command is needed: build or serve");
  expectUsageError({"publish"}, "The following argument was not expected: publish");
  expectUsageError({"build"}, "DIR is required");
  expectUsageError({"build", folder, "--quick"},
                   "The following argument was not expected: --quick");
  expectUsageError({"build", folder, "other"}, "The following argument was not expected: other");
  expectUsageError({"build", folder, "--missing"}, "--missing: 1 required GLOB missing");
  expectUsageError({"build", folder, "--missing", "[a"},
                   "--missing: pattern '[a' has a '[' without its ']'");
  expectUsageError({"build", folder, "--never", ""}, "--never: pattern '' is empty");
  expectUsageError({"serve", folder, "--port", "65536"},
                   "--port: Value 65536 not in range 0 to 65535");
  expectUsageError({"serve", folder, "--port", "http"},
                   "--port: Value http not in range 0 to 65535");
  EXPECT_EQ(readTree(folder), (std::map<std::string, std::string>{{"a", "1"}}));
}

TEST_F(CommandLine, PrintsItsVersion) {
  const ProcessResult result = run({"--version"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_THAT(result.out, MatchesPattern("mtlpublish [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST_F(CommandLine, PrintsHelpThatFitsAScreen) {
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"--help"}, {"build", "--help"}, {"serve", "-h"}}) {
    const ProcessResult result = run(arguments);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(result.out, HasSubstr("Usage: mtlpublish"));
    EXPECT_LE(std::count(result.out.begin(), result.out.end(), '\n'), 30);
  }
}

TEST_F(CommandLine, BuildPrintsOneLine) {
  writeFile(dir_ / "a", std::string(1500, 'a'));
  writeFile(dir_ / "é b/c", "");
  const ProcessResult result = run({"build", dir_ / ""});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out, "2 files, 1.5 kB, id " + readFile(dir_ / "id.txt").substr(0, 8) + "…\n");
}

TEST_F(CommandLine, BuildTakesOptionsBeforeAndAfterTheFolder) {
  for (const char* path : {"a.tx", "a.jpeg.tx", "b", "c", "d"})
    writeFile(dir_ / path, path);
  const ProcessResult result = run({"build", "--missing", "b", "--never", "c", dir_ / "",
                                    "--missing", "d", "--never", "nothing", "--lossy"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "mtlpublish: warning: --never 'nothing' matches no file\n");
  EXPECT_THAT(result.out, StartsWith("4 files, 12 bytes, id "));
  EXPECT_EQ(readFile(dir_ / "filelist.json"),
            "[\n"
            "{\"download\":\"always\",\"jpegSize\":9,\"path\":\"a.tx\",\"size\":4},\n"
            "{\"download\":\"missing\",\"path\":\"b\",\"size\":1},\n"
            "{\"download\":\"never\",\"path\":\"c\",\"size\":1},\n"
            "{\"download\":\"missing\",\"path\":\"d\",\"size\":1}\n"
            "]\n");
}

TEST_F(CommandLine, BuildNamesEveryFileThatCannotBePublished) {
  fs::create_directory(dir_.path() / "filelist.json");
  fs::create_directory(dir_.path() / "id.txt");
  const ProcessResult result = run({"build", dir_ / ""});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err,
            "mtlpublish: filelist.json: a folder where publishing writes a file of that name\n"
            "mtlpublish: id.txt: a folder where publishing writes a file of that name\n");
  EXPECT_TRUE(readTree(dir_ / "").empty());
}

TEST_F(CommandLine, NamesAFolderThatIsNone) {
  writeFile(dir_ / "file", "");
  for (const char* command : {"build", "serve"}) {
    ProcessResult result = run({command, dir_ / "none"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err, "mtlpublish: " + dir_ / "none" + ": No such file or directory\n");
    result = run({command, dir_ / "file"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err, "mtlpublish: " + dir_ / "file" + ": Not a directory\n");
  }
}

}  // namespace
