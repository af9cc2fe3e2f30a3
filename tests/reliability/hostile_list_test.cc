// Tests lists that a host should not have to fear: each run ends soon, in success or in one error,
// and nothing is written outside the target directory.
#include <chrono>
#include <filesystem>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "system/system_fixture.h"

namespace {

using Clock = std::chrono::steady_clock;
using Files = std::map<std::string, std::string>;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

std::string repeated(const std::string& piece, int count) {
  std::string text;
  text.reserve(piece.size() * static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i)
    text += piece;
  return text;
}

class HostileList : public SystemTest {
 protected:
  HostileList() { writeFile(target("id.txt"), "old"); }

  int runWith(const std::string& list) {
    publish("new", list);
    const auto begin = Clock::now();
    const int result = run();
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(60));
    return result;
  }

  void expectRefused(const std::string& list, const std::string& message) {
    EXPECT_EQ(runWith(list), -1);
    EXPECT_THAT(callback_.errors(),
                ElementsAre(StartsWith("[DownloaderImpl::parseListFile] -1: " + message)));
    EXPECT_EQ(server_.requests().size(), 2U);
    EXPECT_EQ(readTree(directory_ / ""), (Files{{"target/id.txt", "old"}}));
  }

  /// The list is taken; "size" and "jpegSize" were no numbers that count.
  void expectTakenWithoutSize(const std::string& members) {
    server_.serve("/lib/a", "a");
    EXPECT_EQ(runWith(R"([{"path":"a",)" + members + "}]"), 0);
    EXPECT_EQ(readFile(target("a")), "a");
    EXPECT_THAT(callback_.textsOf("setProgressRange"), IsEmpty());
  }
};

TEST_F(HostileList, OfArraysWithinArraysIsRefused) {
  const std::string text = repeated("[", 100'000);
  expectRefused(text + repeated("]", 100'000), "Exception parsing json file list: ");
}

TEST_F(HostileList, OfObjectsWithinObjectsIsRefused) {
  const std::string text = repeated(R"([{"path":)", 100'000);
  expectRefused(text + repeated("}]", 100'000), "Exception parsing json file list: ");
}

TEST_F(HostileList, OfDeepArraysThatAreAllowedIsRefused) {
  expectRefused(repeated("[", 900) + repeated("]", 900),
                "Parsing json file list failed (object expceted)");
}

TEST_F(HostileList, OfScalarsIsRefused) {
  expectRefused("[1,2,3]", "Parsing json file list failed (object expceted)");
}

TEST_F(HostileList, OfBytesThatAreNoTextIsRefused) {
  expectRefused("\x80\xFF\xFE\x01[]", "Parsing json file list failed: ");
}

TEST_F(HostileList, WithNumbersBeyondEveryRangeIsRefused) {
  expectRefused(R"([{"path":"a","size":1e999999}])", "Parsing json file list failed: ");
}

TEST_F(HostileList, WithSizesThatFitNoIntegerCountsThemAsNone) {
  expectTakenWithoutSize(R"("size":99999999999999999999999999,"jpegSize":1e300)");
}

TEST_F(HostileList, WithSizesAsTextCountsThemAsNone) {
  expectTakenWithoutSize(R"("size":"12","jpegSize":"12")");
}

TEST_F(HostileList, WithSizesThatAddUpToMoreThanFitsEndsWell) {
  server_.serve("/lib/a", "a");
  server_.serve("/lib/b", "b");
  EXPECT_EQ(runWith(R"([{"path":"a","size":9223372036854775807},)"
                    R"({"path":"b","size":9223372036854775807}])"),
            0);
}

TEST_F(HostileList, WithANegativeSizeEndsWell) {
  server_.serve("/lib/a", "a");
  EXPECT_EQ(runWith(R"([{"path":"a","size":-9223372036854775808}])"), 0);
}

TEST_F(HostileList, WithDuplicateKeysTakesTheLast) {
  server_.serve("/lib/b", "b");
  EXPECT_EQ(runWith(R"([{"path":"../a","path":"b"}])"), 0);
  EXPECT_EQ(readTree(directory_ / ""), (Files{{"target/b", "b"}, {"target/id.txt", "new"}}));
}

TEST_F(HostileList, WithAZeroByteInAPathEndsThePathThere) {
  server_.serve("/lib/a", "a");
  EXPECT_EQ(runWith(R"([{"path":"a\u0000/../../b"}])"), 0);
  EXPECT_EQ(readTree(directory_ / ""), (Files{{"target/a", "a"}, {"target/id.txt", "new"}}));
}

TEST_F(HostileList, WithPathsThatAreNotUtf8EndsWell) {
  server_.serve("/lib/%FF%C0%AF", "a");
  EXPECT_EQ(runWith("[{\"path\":\"\xFF\xC0\xAF\"}]"), 0);
  EXPECT_EQ(readTree(target_).size(), 2U);
}

TEST_F(HostileList, WithATextOfAHundredMegabytesEndsWell) {
  server_.serve("/lib/a", "a");
  EXPECT_EQ(runWith(R"([{"path":"a","comment":")" + std::string(100'000'000, 'x') + R"("}])"), 0);
}

TEST_F(HostileList, WithAPathOfAMegabyteIsReported) {
  EXPECT_EQ(runWith(R"([{"path":")" + std::string(1'000'000, 'x') + R"("}])"), -1);
  EXPECT_EQ(callback_.errors().size(), 1U);
  EXPECT_EQ(readTree(directory_ / ""), (Files{{"target/id.txt", "old"}}));
}

TEST_F(HostileList, WithAMillionEntriesThatAreNotWantedEndsWell) {
  EXPECT_EQ(runWith("[" + repeated(R"({"path":"a","download":"never"},)", 999'999) + "{}]"), 0);
}

TEST_F(HostileList, WithAMillionEntriesThatAreNotThereEndsWell) {
  EXPECT_EQ(runWith("[" + repeated(R"({"path":"a"},)", 999'999) + R"({"path":"a"}])"), -1);
  EXPECT_EQ(readTree(directory_ / ""), (Files{{"target/id.txt", "old"}}));
}

TEST_F(HostileList, WithPathsThatClimbIsRefused) {
  for (const char* path :
       {"..", "../../x", "a/../../../x", R"(..\\..\\x)", R"(a\\..\\..\\x)", "./..", "a/.."}) {
    server_.forgetRequests();
    callback_.clear();
    expectRefused(R"([{"path":")" + std::string(path) + R"("}])",
                  "Path leaves the target directory: \"");
  }
}

TEST_F(HostileList, WithAbsolutePathsStaysBelowTheTarget) {
  server_.serve("/lib/etc/x", "x");
  server_.serve("/lib/server/share/y", "y");
  EXPECT_EQ(runWith(R"([{"path":"/etc/x"},{"path":"\\\\server\\share\\y"}])"), 0);
  EXPECT_EQ(
      readTree(directory_ / ""),
      (Files{{"target/etc/x", "x"}, {"target/id.txt", "new"}, {"target/server/share/y", "y"}}));
}

// Elsewhere these are names like any others.
TEST_F(HostileList, WithNamesThatWindowsTakesForSomethingElseIsRefusedThere) {
  constexpr bool kOnWindows = std::filesystem::path::preferred_separator != '/';
  const std::map<std::string, std::string> targets{{R"(C:\\x)", "/lib/C%3A/x"},
                                                   {"...", "/lib/..."},
                                                   {"a/nul", "/lib/a/nul"},
                                                   {"con.txt", "/lib/con.txt"},
                                                   {"a:stream", "/lib/a%3Astream"}};
  for (const auto& [path, requestTarget] : targets) {
    writeFile(target("id.txt"), "old");
    server_.forgetRequests();
    callback_.clear();
    const std::string list = R"([{"path":")" + path + R"("}])";
    if (kOnWindows) {
      expectRefused(list, "Path leaves the target directory: \"");
    } else {
      server_.serve(requestTarget, "x");
      EXPECT_EQ(runWith(list), 0) << path;
    }
  }
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory_.path()), {}), 1);
}

}  // namespace
