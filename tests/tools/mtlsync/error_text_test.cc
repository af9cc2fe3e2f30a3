// How error chains read.
#include "mtlsync/error_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "system_words.h"

namespace mtlsync {
namespace {

using testing::ElementsAre;

ErrorEntry connectionError(const std::string& numbers) {
  return {"HttpGetter::responseErrorCb", -1, "Connection error: " + numbers};
}

TEST(AsOwn, PutsOurNameInPlaceOfTheKits) {
  const ErrorEntries entries = asOwn({{"mtlhost", -1, "a"}, {"", 5, "b"}});
  EXPECT_EQ(entries[0].tag, "mtlsync");
  EXPECT_EQ(entries[1].tag, "");
}

TEST(ErrorLines, PutOneCauseOnALine) {
  EXPECT_THAT(
      errorLines({{"DownloaderImpl::readRemoteIdFile", -1, "Could not download remote stamp file"},
                  connectionError("reason=13 extraF=0 underlying=60")},
                 false),
      ElementsAre("Could not download remote stamp file",
                  "  because: Connection error: reason=13 extraF=0 underlying=60 (the server's "
                  "certificate could not be verified)"));
}

TEST(ErrorLines, TellTagAndCodeWhenDetailed) {
  EXPECT_THAT(errorLines({{"DownloaderImpl::download", -1, "Create download directory failed"},
                          {"", 5, "(5) Access is denied.\r\n"}},
                         true),
              ElementsAre("Create download directory failed [DownloaderImpl::download, code -1]",
                          "  because: (5) Access is denied. [code 5]"));
}

TEST(ErrorLines, TellTheCodeWhereThereIsNoMessage) {
  EXPECT_THAT(errorLines({{"createPathImpl", 3, ""}}, false), ElementsAre("error 3"));
}

TEST(ErrorLines, StaySingleLinesWhateverTheMessage) {
  EXPECT_THAT(
      errorLines({{"DownloaderImpl::parseListFile", -1,
                   "Parsing json file list failed: * Line 1, Column 2\n  Syntax \x1b[31m\n"}},
                 false),
      ElementsAre("Parsing json file list failed: * Line 1, Column 2 Syntax \\x1B[31m"));
}

TEST(ExplanationOf, AddsTheSystemsWordsToASystemNumber) {
  EXPECT_EQ(explanationOf(connectionError("reason=2 extraF=1000 underlying=111")),
            "no connection to the server: " + refusedText());
  EXPECT_EQ(explanationOf(connectionError("reason=77 extraF=1000 underlying=104")), resetText());
}

TEST(ExplanationOf, AddsTheRuleThatAnAnswerBroke) {
  const auto explained = [](int reason, int rule) {
    return explanationOf(connectionError(
        ("reason=" + std::to_string(reason) + " extraF=2000 underlying=" + std::to_string(rule))
            .c_str()));
  };
  const std::string invalid = "the answer is not valid HTTP";
  EXPECT_EQ(explained(10, 1), invalid + ": it does not begin as HTTP/1 does");
  EXPECT_EQ(explained(10, 2), invalid + ": its header has a zero byte or a lone carriage return");
  EXPECT_EQ(explained(10, 3), invalid + ": a line of its header is not a field");
  EXPECT_EQ(explained(10, 4), invalid + ": its length is not one plain number");
  EXPECT_EQ(explained(10, 5), invalid + ": its transfer coding is another than chunked");
  EXPECT_EQ(explained(10, 6), invalid + ": its chunks do not follow one another");
  EXPECT_EQ(explained(10, 7), invalid + ": it changes to another protocol");
  EXPECT_EQ(explained(10, 13), invalid);
  const std::string large = "the answer is larger than what is taken";
  EXPECT_EQ(explained(14, 8), large + ": its header has more than 300 KiB");
  EXPECT_EQ(explained(14, 9), large + ": its header has more than 1,000 fields");
  EXPECT_EQ(explained(14, 10), large + ": its chunks have more than 16 KiB of extensions");
  EXPECT_EQ(explained(14, 11), large + ": more than 32 interim answers came before it");
  EXPECT_EQ(explained(14, 12), large + ": its body is longer than allowed");
}

TEST(ExplanationOf, LeavesOtherNumbersAlone) {
  EXPECT_EQ(explanationOf(connectionError("reason=2 extraF=2000 underlying=7")),
            "no connection to the server");
  EXPECT_EQ(explanationOf(connectionError("reason=77 extraF=0 underlying=7")), "");
}

TEST(ExplanationOf, IsEmptyForOtherMessages) {
  EXPECT_EQ(explanationOf(connectionError("reason=many")), "");
  EXPECT_EQ(explanationOf({"Other::tag", -1, "Connection error: reason=2 extraF=0 underlying=7"}),
            "");
}

TEST(ConnectionReasonOf, IsTheNumberOfAConnectionError) {
  EXPECT_EQ(connectionReasonOf(connectionError("reason=13 extraF=0 underlying=60")), 13U);
  EXPECT_EQ(connectionReasonOf(connectionError("reason=many")), std::nullopt);
  EXPECT_EQ(connectionReasonOf({"", -1, "Connection error: reason=2 extraF=0 underlying=7"}),
            std::nullopt);
}

TEST(HttpStatusOf, IsTheNumberInTheMessage) {
  EXPECT_EQ(httpStatusOf({"", -1, "Unexpected HTTP status (404)"}), 404);
  EXPECT_EQ(httpStatusOf({"", -1, "unexpected HTTP status 503"}), 503);
  EXPECT_EQ(httpStatusOf({"", -1, "Disk full"}), std::nullopt);
}

TEST(IsAbort, RecognisesTheHostsOwnAnswerAnywhereInTheChain) {
  EXPECT_TRUE(
      isAbort({{"a", -1, "Could not download list file"}, {"b", -1, "Download aborted (1)"}}));
  EXPECT_FALSE(isAbort({{"a", -1, "Could not download list file"}}));
  EXPECT_FALSE(isAbort({}));
}

TEST(IsFailedSave, RecognisesTheStepAnywhereInTheChain) {
  EXPECT_TRUE(isFailedSave({{"a", -1, "x"}, {"DownloaderImpl::saveFile", -1, "y"}}));
  EXPECT_FALSE(isFailedSave({{"DownloaderImpl::downloadFiles", -1, "x"}}));
  EXPECT_FALSE(isFailedSave({}));
}

}  // namespace
}  // namespace mtlsync
