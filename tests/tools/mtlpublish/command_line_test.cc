// Tests the program as its users see it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <sstream>

#include "support/child_process.h"
#include "support/regex_matchers.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;
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
  expectUsageError(
      {},
      "a command is needed: build, diff, files, init, keygen, report, rollback, verify or serve");
  expectUsageError({"publish"}, "The following argument was not expected: publish");
  expectUsageError({"build"}, "DIR is required");
  expectUsageError({"build", ""}, "DIR: must not be empty");
  expectUsageError({"keygen"}, "NAME is required");
  expectUsageError({"init", ""}, "DIR: must not be empty");
  expectUsageError({"keygen", ""}, "NAME: must not be empty");
  expectUsageError({"serve", ""}, "DIR: must not be empty");
  expectUsageError({"verify", ""}, "URL|DIR: must not be empty");
  expectUsageError({"build", folder, "--quick"},
                   "The following argument was not expected: --quick");
  expectUsageError({"build", folder, "other"}, "The following argument was not expected: other");
  expectUsageError({"build", folder, "--missing"}, "--missing: 1 required GLOB missing");
  expectUsageError({"build", folder, "--missing", "[a"},
                   "--missing: pattern '[a' has a '[' without its ']'");
  expectUsageError({"build", folder, "--allow", "names"},
                   "--allow: 'names' is not windows-names, same-names, long-paths, "
                   "unused-entries or changed-missing");
  expectUsageError({"build", folder, "--never", ""}, "--never: pattern '' is empty");
  expectUsageError({"serve", folder, "--port", "65536"},
                   "--port: Value 65536 not in range 0 to 65535");
  expectUsageError({"serve", folder, "--port", "http"},
                   "--port: Value http not in range 0 to 65535");
  expectUsageError({"serve", folder, "--delay", "-1"},
                   "--delay: Value -1 not in range 0 to 3600000");
  expectUsageError({"serve", folder, "--fail", "[a"},
                   "--fail: pattern '[a' has a '[' without its ']'");
  expectUsageError({"serve", folder, "--host-name", "maps:80"},
                   "--host-name: 'maps:80' is not the name of a host");
  expectUsageError({"build", folder, "-q", "-v"}, "--quiet and --verbose exclude each other");
  expectUsageError({"verify"}, "URL|DIR is required");
  expectUsageError({"diff", folder, "--prepare"},
                   "The following argument was not expected: --prepare");
  expectUsageError({"build", folder, "--prepare", "--json"},
                   "--prepare and --json exclude each other");
  EXPECT_EQ(readTree(folder), (std::map<std::string, std::string>{{"a", "1"}}));
}

TEST_F(CommandLine, PrintsItsVersion) {
  const ProcessResult result = run({"--version"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_THAT(result.out, MatchesPattern("mtlpublish [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST_F(CommandLine, PrintsHelpThatFitsAScreen) {
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{"--help"},
                                                    {"build", "--help"},
                                                    {"diff", "--help"},
                                                    {"files", "--help"},
                                                    {"init", "--help"},
                                                    {"keygen", "--help"},
                                                    {"rollback", "--help"},
                                                    {"verify", "-h"},
                                                    {"serve", "-h"}}) {
    const ProcessResult result = run(arguments);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(result.out, HasSubstr("Usage: mtlpublish"));
    EXPECT_THAT(result.out, HasSubstr("\nExamples:\n  mtlpublish "));
    EXPECT_THAT(result.out, Not(HasSubstr("..."))) << "one value follows an option";
    EXPECT_LE(std::count(result.out.begin(), result.out.end(), '\n'), 35);
    std::istringstream lines(result.out);
    for (std::string line; std::getline(lines, line);)
      EXPECT_LE(line.size(), 80U) << line;
  }
}

TEST_F(CommandLine, FilesNamesWhatClientsFetch) {
  for (const char* path : {"é b.tx", "oak.tx", "oak.jpeg.tx", "oak.psd", ".git/config"})
    writeFile(dir_ / path, "x");
  EXPECT_EQ(run({"files", dir_ / ""}).exitCode, 1) << "nothing is built yet";
  EXPECT_EQ(run({"build", "-q", "--lossy", "--never", "*.psd", dir_ / ""}).exitCode, 0);
  const ProcessResult result = run({"files", dir_ / ""});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out, "oak.jpeg.tx\né b.tx\n");
}

TEST_F(CommandLine, FilesNamesWhatClientsOfViewsFetch) {
  for (const char* path : {"a", "b", "c"})
    writeFile(dir_ / path, path);
  writeFile(dir_ / "library.toml",
            "address = \"https://materials.example/library\"\nnever = [\"b\", \"c\"]\n"
            "[[view]]\nsub-path = \"beta\"\nfiles = [\"b\"]\n"
            "[[view.policy]]\nfiles = [\"b\"]\ndownload = \"missing\"\n");
  ProcessResult result = run({"build", dir_ / ""});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.out,
              HasSubstr("View 'beta', list at https://materials.example/beta/library/filelist.json:"
                        "\n1 file, 1 byte, id "));
  EXPECT_EQ(run({"files", dir_ / ""}).out, "a\nb\n");
  EXPECT_EQ(run({"files", "--lists", dir_ / ""}).out,
            "filelist.json\tlibrary/filelist.json\n"
            "beta/filelist.json\tbeta/library/filelist.json\n");
  EXPECT_EQ(run({"files", "--list-forms", dir_ / ""}).out,
            "filelist.json.gz\tlibrary/filelist.json.gz\n"
            "beta/filelist.json.gz\tbeta/library/filelist.json.gz\n");
  EXPECT_EQ(run({"verify", "--sub-path", "beta", dir_ / ""}).exitCode, 0);
  result = run({"diff", "--json", dir_ / ""});
  EXPECT_THAT(result.out, HasSubstr("\"views\":[{\"added\":[],"));
  EXPECT_EQ(run({"build", "--prepare", "--name", "oak", dir_ / ""}).exitCode, 2);
}

TEST_F(CommandLine, FilesSaysWhatCachesAreTold) {
  for (const char* path : {"lib/maps/a.tx", "lib/b.png"})
    writeFile(dir_ / path, path);
  EXPECT_EQ(run({"build", "-q", dir_ / "lib"}).exitCode, 0);
  EXPECT_EQ(run({"files", "--cache-control", dir_ / "lib"}).out,
            "b.png\tno-cache\nmaps/a.tx\tmax-age=31536000, immutable\n");
  writeFile(dir_ / "own.toml",
            "address = \"https://materials.example/oak/lib\"\n"
            "[[cache]]\nfiles = [\"*.png\"]\nlife = \"1h\"\n");
  EXPECT_EQ(run({"files", "--cache-control", "--config", dir_ / "own.toml", dir_ / "lib"}).out,
            "b.png\tmax-age=3600\nmaps/a.tx\tno-cache\n");
  EXPECT_THAT(run({"files", "--nginx", "--config", dir_ / "own.toml", dir_ / "lib"}).out,
              HasSubstr("\"~(*UTF)^/oak/lib/(.*/)?[^/]*\\.png$\"  \"max-age=3600\";\n}\n"));
  EXPECT_EQ(run({"files", "--nginx", "--lists", dir_ / "lib"}).exitCode, 2);
  writeFile(dir_ / "lib/library.toml", "[[cache]]\nfiles = [\"*\"]\nlife = \"soon\"\n");
  EXPECT_EQ(run({"files", "--nginx", dir_ / "lib"}).exitCode, 1);
  EXPECT_EQ(run({"serve", dir_ / "lib"}).exitCode, 1);
}

TEST_F(CommandLine, FilesRefusesAListThatClientsRefuse) {
  writeFile(dir_ / "filelist.json", "[{\"path\":\"../x\"}]\n");
  const ProcessResult result = run({"files", dir_ / ""});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, HasSubstr("filelist.json: clients refuse it: "));
}

TEST_F(CommandLine, BuildCountsWhatItPassesOver) {
  for (const char* path : {"a", ".htpasswd", "b~", "work/x", ".git/config"})
    writeFile(dir_ / path, "x");
  ProcessResult result = run({"build", "--include", "b~", "--exclude", "work", dir_ / ""});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(result.out, HasSubstr("\nSkipped 1 file and 2 folders; -v names them\nFirst build"));
  EXPECT_THAT(readFile(dir_ / "filelist.json"), HasSubstr("\"b~\""));
  result = run({"build", "-v", dir_ / ""});
  EXPECT_THAT(result.out, HasSubstr("\nskipped  .git/\n"
                                    "skipped  .htpasswd\n"
                                    "skipped  b~\n"
                                    "Skipped 2 files and 1 folder\n"));
}

TEST_F(CommandLine, BuildTellsWhatIsThereAndWhatHasChanged) {
  const auto firstLine = [this](const std::string& text) {
    return text + ", id " + readFile(dir_ / "id.txt").substr(0, 8) + "…\n";
  };
  writeFile(dir_ / "a", std::string(1500, 'a'));
  writeFile(dir_ / "é b/c", "");
  ProcessResult result = run({"build", dir_ / ""});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out, firstLine("2 files, 1.5 kB") +
                            "First build\nNew clients fetch 1.9 kB in 4 requests, by the module "
                            "1.9 kB in 4 requests\n");

  result = run({"build", dir_ / ""});
  EXPECT_EQ(result.out,
            firstLine("2 files, 1.5 kB") + "Nothing has changed since the last build\n");

  writeFile(dir_ / "a", std::string(1500, 'b'));
  writeFile(dir_ / "new", "12");
  fs::remove_all(dir_.path() / fs::u8path("é b"));
  result = run({"build", "--verbose", dir_ / ""});
  EXPECT_EQ(result.out,
            firstLine("2 files, 1.5 kB") +
                "added    new\n"
                "changed  a\n"
                "removed  é b/c\n"
                "1 added, 1 changed, 1 removed\n"
                "Clients of the last build fetch 1.8 kB in 4 requests, by the module 1.9 kB in 4 "
                "requests\n");
}

TEST_F(CommandLine, DiffSaysWhatABuildWouldCostAndWritesNothing) {
  for (const char* path : {"a", "b", "c"})
    writeFile(dir_ / path, std::string(10'000, path[0]));
  EXPECT_EQ(run({"diff", dir_ / ""}).exitCode, 0);
  EXPECT_FALSE(fs::exists(dir_.path() / ".mtlpublish-cache"));
  run({"build", dir_ / ""});
  writeFile(dir_ / "a", std::string(10'000, 'x'));
  fs::rename(dir_ / "b", dir_ / "d");
  const auto before = readTree(dir_ / "");
  const ProcessResult result = run({"diff", "-v", dir_ / ""});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(result.out,
              MatchesPattern("3 files, 30\\.0 kB, id [0-9a-f]+…\nadded    d\nchanged  a\n"
                             "removed  b\n1 added, 1 changed, 1 removed\nClients of the last "
                             "build fetch 10\\.4 kB in 3 requests, by the module 30\\.5 kB in 5 "
                             "requests\n"));
  EXPECT_EQ(readTree(dir_ / ""), before);
  const std::string forMissing = run({"diff", "--missing", "c", dir_ / ""}).out;
  EXPECT_THAT(forMissing, HasSubstr("by the module 20.5 kB in 4 requests")) << forMissing;
}

TEST_F(CommandLine, BuildRefusesAChangedFileThatTheModuleDoesNotFetchAgain) {
  writeFile(dir_ / "maps/oak.tx", "1");
  run({"build", "--missing", "maps/*", dir_ / ""});
  const std::string id = readFile(dir_ / "id.txt");
  writeFile(dir_ / "maps/oak.tx", "2");
  for (const char* command : {"build", "diff"}) {
    const ProcessResult result = run({command, "--no-cache", "--missing", "maps/*", dir_ / ""});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err,
              "mtlpublish: maps/oak.tx: has changed, but is \"missing\", and the module keeps the "
              "old one where it has it: give it a new name\n");
  }
  EXPECT_EQ(readFile(dir_ / "id.txt"), id);
  EXPECT_EQ(
      run({"build", "--no-cache", "--missing", "maps/*", "--allow", "changed-missing", dir_ / ""})
          .exitCode,
      0);
  EXPECT_NE(readFile(dir_ / "id.txt"), id);
}

TEST_F(CommandLine, InitWritesAConfigurationThatBuildTakes) {
  const std::string library = dir_ / "oak";
  for (const char* path : {"maps/oak.tx", "oak.psd", "oak.mat"})
    writeFile(library + "/" + path, "1");
  ProcessResult result = run({"init", library});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  const std::string config = readFile(library + "/library.toml");
  EXPECT_THAT(config, HasSubstr("\nname = \"oak\"\n"));
  result = run({"build", "-v", library});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(result.out, HasSubstr("\nskipped  oak.psd\n"));
  const std::string list = readFile(library + "/filelist.json");
  EXPECT_THAT(list, HasSubstr("\"missing\",\"path\":\"maps/oak.tx\""));
  EXPECT_THAT(list, Not(HasSubstr("toml")));
  result = run({"init", library});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.err, HasSubstr("library.toml: cannot be written: "));
  EXPECT_EQ(readFile(library + "/library.toml"), config);
}

TEST_F(CommandLine, OptionsWinAgainstTheConfiguration) {
  writeFile(dir_ / "a.tx", "1");
  writeFile(dir_ / "b.tx", "1");
  writeFile(dir_ / "c.tx", "1");
  writeFile(dir_ / "library.toml",
            "never = ['a.tx']\n[[policy]]\nfiles = ['*.tx']\ndownload = 'missing'\n");
  EXPECT_EQ(run({"build", "--never", "b.tx", "--missing", "a.tx", dir_ / ""}).exitCode, 0);
  const std::string list = readFile(dir_ / "filelist.json");
  EXPECT_THAT(list, HasSubstr("\"missing\",\"path\":\"a.tx\""));
  EXPECT_THAT(list, HasSubstr("\"never\",\"path\":\"b.tx\""));
  EXPECT_THAT(list, HasSubstr("\"missing\",\"path\":\"c.tx\""));
}

TEST_F(CommandLine, TakesAConfigurationFromElsewhere) {
  writeFile(dir_ / "a", "1");
  writeFile(dir_ / "library.toml", "no toml");
  writeFile(dir_ / "beta.toml", "never = ['a']\n");
  EXPECT_EQ(run({"build", "--config", dir_ / "beta.toml", dir_ / ""}).exitCode, 0);
  EXPECT_THAT(readFile(dir_ / "filelist.json"), HasSubstr("\"never\",\"path\":\"a\""));
  EXPECT_THAT(readFile(dir_ / "filelist.json"), Not(HasSubstr("toml")));
  const ProcessResult result = run({"diff", "--config", dir_ / "none.toml", dir_ / ""});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.err, HasSubstr("none.toml: cannot be read: "));
}

TEST_F(CommandLine, BuildsNothingByAConfigurationThatIsWrong) {
  writeFile(dir_ / "a", "1");
  writeFile(dir_ / "library.toml", "lossi = true\nexclude = 1\n");
  const ProcessResult result = run({"build", dir_ / ""});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.err,
            "mtlpublish: library.toml:1: 'lossi' is not known; is it 'lossy'?\n"
            "mtlpublish: library.toml:2: exclude is a list: [\"…\"]\n");
  EXPECT_FALSE(fs::exists(dir_.path() / "id.txt"));
}

TEST_F(CommandLine, RollbackPublishesTheBuildBefore) {
  writeFile(dir_ / "library.toml", "keep = 1\n");
  writeFile(dir_ / "a", "1");
  run({"build", dir_ / ""});
  ProcessResult result = run({"rollback", dir_ / ""});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.err, HasSubstr("no build before the last one is kept"));
  writeFile(dir_ / "a", "22");
  run({"build", dir_ / ""});
  result = run({"rollback", dir_ / ""});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out, "Published the build before, id " + readFile(dir_ / "id.txt").substr(0, 8) +
                            "…\n1 file has its former content, 0 files removed\n");
  EXPECT_EQ(readFile(dir_ / "a"), "1");
}

TEST_F(CommandLine, ReportWritesAPageAboutTheLibrary) {
  writeFile(dir_ / "lib/oak.mat", "1");
  ASSERT_EQ(run({"build", dir_ / "lib"}).exitCode, 0);
  const auto before = readTree(dir_ / "lib");
  const ProcessResult printed = run({"report", dir_ / "lib"});
  EXPECT_EQ(printed.exitCode, 0);
  EXPECT_THAT(printed.out, StartsWith("<!DOCTYPE html>\n"));
  EXPECT_THAT(printed.out, HasSubstr("[\"oak.mat\",1,0]"));
  const ProcessResult written = run({"report", "--output", dir_ / "p.html", dir_ / "lib"});
  EXPECT_EQ(written.out + written.err, "");
  EXPECT_EQ(readFile(dir_ / "p.html"), printed.out);
  EXPECT_EQ(readTree(dir_ / "lib"), before);
}

TEST_F(CommandLine, ReportWritesNothingIntoTheLibrary) {
  writeFile(dir_ / "lib/maps/oak.tx", "1");
  ASSERT_EQ(run({"build", dir_ / "lib"}).exitCode, 0);
  const auto before = readTree(dir_ / "lib");
  for (const std::string name : {"lib/index.html", "lib/maps/p.html", "lib/../lib/p.html"}) {
    const ProcessResult result = run({"report", "--output", dir_ / name, dir_ / "lib"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.err, HasSubstr(": lies in the library, where the next build would list it"));
  }
  EXPECT_EQ(readTree(dir_ / "lib"), before);
  const ProcessResult nowhere = run({"report", "--output", dir_ / "none/p.html", dir_ / "lib"});
  EXPECT_EQ(nowhere.exitCode, 1);
  EXPECT_THAT(nowhere.err, HasSubstr("none/p.html: cannot be written: No such file or directory"));
}

TEST_F(CommandLine, ReportNeedsALibraryThatWasBuilt) {
  writeFile(dir_ / "lib/oak.mat", "1");
  const ProcessResult result = run({"report", dir_ / "lib"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err,
            "mtlpublish: id.txt: No such file or directory; run mtlpublish build first\n");
  expectUsageError({"report"}, "DIR is required");
  expectUsageError({"report", "--sub-path", "../x", dir_ / "lib"},
                   "--sub-path: '../x' leaves the library");
}

TEST_F(CommandLine, PrintsOneObjectForOtherPrograms) {
  writeFile(dir_ / "a", "1");
  writeFile(dir_ / ".b", "1");
  ProcessResult result = run({"build", "--json", "--never", "x", dir_ / ""});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  const std::string id = readFile(dir_ / "id.txt").substr(0, 64);
  EXPECT_EQ(result.out,
            "{\"added\":[],\"byKit\":{\"bytes\":277,\"requests\":3},\"byModule\":{\"bytes\":277,"
            "\"requests\":3},\"bytes\":1,\"changed\":[],\"files\":1,\"id\":\"" +
                id +
                "\",\"isFirst\":true,\"isNew\":true,\"problems\":[],"
                "\"removed\":[],\"serial\":null,\"skipped\":[\".b\"],\"views\":[],\"warnings\":["
                "\"never 'x' matches no "
                "file\"]}\n");
  writeFile(dir_ / "a", "22");
  EXPECT_THAT(run({"diff", "--json", dir_ / ""}).out, StartsWith("{\"added\":[],\"byKit\":"));
  result = run({"verify", "--json", dir_ / ""});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.out,
            "{\"bytes\":1,\"files\":1,\"problems\":[\"a: has 2 bytes, the list says 1 "
            "byte\"],\"signature\":null,"
            "\"withoutDigest\":0,\"withoutSize\":0}\n");
  result = run({"build", "--json", dir_ / "none"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.out, HasSubstr("\"problems\":[\"" + dir_ / "none" + ": No such file"));
}

TEST_F(CommandLine, BuildRestoresAListThatWasDamaged) {
  writeFile(dir_ / "a", "1");
  run({"build", dir_ / ""});
  const std::string list = readFile(dir_ / "filelist.json");
  const std::string firstLine =
      "1 file, 1 byte, id " + readFile(dir_ / "id.txt").substr(0, 8) + "…\n";
  for (const std::string damaged : {"[]\n", "[{]\n", ""}) {
    if (damaged.empty()) {
      fs::remove(dir_ / "filelist.json");
    } else {
      writeFile(dir_ / "filelist.json", damaged);
    }
    const ProcessResult result = run({"build", "-v", dir_ / ""});
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, firstLine +
                              "Nothing has changed since the last build; its list had, "
                              "and is restored\n");
    EXPECT_EQ(readFile(dir_ / "filelist.json"), list);
  }
}

TEST_F(CommandLine, BuildSaysThatTheIdAloneIsNew) {
  writeFile(dir_ / "oak.tx", "one");
  writeFile(dir_ / "oak.jpeg.tx", "12");
  run({"build", "--lossy", dir_ / ""});
  writeFile(dir_ / "oak.tx", "two");
  const ProcessResult result = run({"build", "--no-cache", "--lossy", "-v", dir_ / ""});
  EXPECT_EQ(
      result.out,
      "1 file, 2 bytes, id " + readFile(dir_ / "id.txt").substr(0, 8) +
          "…\nThe id is new, though the list shows no change\nClients of the last build fetch "
          "154 bytes in 1 request, by the module 296 bytes in 3 requests\n");
}

TEST_F(CommandLine, BuildGoesOnWithoutALastList) {
  writeFile(dir_ / "a", "1");
  writeFile(dir_ / "filelist.json", "[{]\n");
  const ProcessResult result = run({"build", dir_ / ""});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err,
            "mtlpublish: warning: filelist.json: the last build's list cannot be read; what has "
            "changed since is not known\n");
  EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 1) << result.out;
}

TEST_F(CommandLine, QuietBuildPrintsErrorsOnly) {
  writeFile(dir_ / "a", "1");
  ProcessResult result = run({"build", "-q", "--never", "nothing", dir_ / ""});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out + result.err, "");
  result = run({"build", "-q", dir_ / "none"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.err, "mtlpublish: " + dir_ / "none" + ": No such file or directory\n");
}

TEST_F(CommandLine, VerifyPrintsOneLine) {
  writeFile(dir_ / "a", std::string(1500, 'a'));
  run({"build", dir_ / ""});
  ProcessResult result = run({"verify", dir_ / ""});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out, "1 file, 1.5 kB, as listed\n");
  EXPECT_EQ(run({"verify", "--quick", dir_ / ""}).out, "1 file, 1.5 kB, sizes as listed\n");
  result = run({"verify", "--quiet", dir_ / ""});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out, "");
}

TEST_F(CommandLine, VerifyTellsWhatTheListDoesNotSay) {
  const auto expectSummary = [this](const std::string& list, const std::string& summary,
                                    const std::string& quickSummary) {
    writeFile(dir_ / "filelist.json", list + "\n");
    EXPECT_EQ(run({"verify", dir_ / ""}).out, summary + "\n");
    EXPECT_EQ(run({"verify", "--quick", dir_ / ""}).out, quickSummary + "\n");
  };
  const std::string digested =
      R"({"path":"b","sha256":"e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"})";
  writeFile(dir_ / "id.txt", "1");
  writeFile(dir_ / "a", "1");
  writeFile(dir_ / "b", "");
  writeFile(dir_ / "c", "12");
  expectSummary("[]", "0 files, 0 bytes, as listed", "0 files, 0 bytes, as listed");
  expectSummary(R"([{"path":"a","size":1},{"path":"id.txt","download":"never"}])",
                "1 file, 1 byte, sizes as listed", "1 file, 1 byte, sizes as listed");
  expectSummary(R"([{"path":"a"}])", "1 file, 0 bytes, sizes as listed (1 without a size)",
                "1 file, 0 bytes, sizes as listed (1 without a size)");
  expectSummary(R"([{"path":"a"},{"path":"c","size":2},)" + digested + "]",
                "3 files, 2 bytes, as listed (of 1 only the size, 1 without a size)",
                "3 files, 2 bytes, sizes as listed (2 without a size)");
}

TEST_F(CommandLine, VerifyPrintsEveryProblem) {
  writeFile(dir_ / "a", "1");
  writeFile(dir_ / "b", "2");
  run({"build", dir_ / ""});
  writeFile(dir_ / "a", "12");
  fs::remove(dir_ / "b");
  const ProcessResult result = run({"verify", "-q", dir_ / ""});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out, "a: has 2 bytes, the list says 1 byte\nb: is missing\n");
}

TEST_F(CommandLine, BuildTakesOptionsBeforeAndAfterTheFolder) {
  for (const char* path : {"a.tx", "a.jpeg.tx", "b", "c", "d"})
    writeFile(dir_ / path, path);
  const ProcessResult result = run({"build", "--missing", "b", "--never", "c", dir_ / "",
                                    "--missing", "d", "--never", "nothing", "--lossy"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "mtlpublish: warning: never 'nothing' matches no file\n");
  EXPECT_THAT(result.out, StartsWith("4 files, 12 bytes, id "));
  const std::regex digest("\"sha256\":\"[0-9a-f]{64}\",");
  EXPECT_EQ(std::regex_replace(readFile(dir_ / "filelist.json"), digest, ""),
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
  EXPECT_EQ(readTree(dir_ / "").size(), 2U) << "the cache and the lock";
}

TEST_F(CommandLine, ReportsALostOutput) {
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"--help"}, {"build", dir_ / ""}, {"verify", dir_ / ""}}) {
    std::vector<std::string> command{MTLPUBLISH};
    command.insert(command.end(), arguments.begin(), arguments.end());
    const ProcessResult result = ChildProcess(command, {}, ChildProcess::Output::kRefused).wait();
    EXPECT_EQ(result.exitCode, 1) << arguments.front();
    EXPECT_EQ(result.err, "mtlpublish: could not write to standard output\n");
  }
}

TEST_F(CommandLine, NamesAFolderThatIsNone) {
  writeFile(dir_ / "file", "");
  for (const char* command : {"build", "serve", "verify"}) {
    // What is wrong with a library is what its verification is about.
    const bool isVerify = command == std::string("verify");
    const auto expectProblem = [&](const std::string& problem) {
      const ProcessResult result = run({command, problem.substr(0, problem.rfind(": "))});
      EXPECT_EQ(result.exitCode, 1);
      EXPECT_EQ(isVerify ? result.out : result.err,
                (isVerify ? "" : "mtlpublish: ") + problem + "\n");
    };
    expectProblem(dir_ / "none" + ": No such file or directory");
    expectProblem(dir_ / "file" + ": Not a directory");
  }
}

// Systems say different things of what lies in folders that there cannot be.
TEST_F(CommandLine, NamesTheFolderThatIsNoneAndNotItsConfiguration) {
  for (const std::string& name : {std::string("none"), std::string(300, 'x')}) {
    const ProcessResult result = run({"build", name});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.err, HasSubstr(name + ": "));
    EXPECT_THAT(result.err, Not(HasSubstr("library.toml")));
  }
}

TEST_F(CommandLine, PrintsHostileNamesHarmlessly) {
  for (const char* command : {"build", "serve", "verify"}) {
    const ProcessResult result = run({command, "no\x1B[2J\u009B2J\u202E"});
    EXPECT_THAT(result.out + result.err, HasSubstr(R"(no\x1B[2J\xC2\x9B2J\xE2\x80\xAE: )"));
  }
  EXPECT_THAT(run({"\x1B[2J\n\u202E"}).err, HasSubstr(R"( \x1B[2J \xE2\x80\xAE)"));
}

}  // namespace
