// What people are told to do next.
#include "mtlsync/hints.h"

#include <gtest/gtest.h>

#include <array>

namespace mtlsync {
namespace {

class HintTest : public testing::Test {
 protected:
  HintTest() {
    options_.url = "https://a.example/lib";
    options_.directory = "/data/m";
  }

  std::string hintForReason(int reason) const {
    return hintFor(
        {{"a", -1, "Could not download remote stamp file"},
         {"HttpGetter::responseErrorCb", -1,
          "Connection error: reason=" + std::to_string(reason) + " extraF=0 underlying=0"}},
        options_);
  }
  std::string hintForMessage(const std::string& message) const {
    return hintFor(
        {{"DownloaderImpl::readRemoteIdFile", -1, "Could not download remote stamp file"},
         {"b", -1, message}},
        options_);
  }
  std::string hintForSave(int code) const {
    return hintFor({{"DownloaderImpl::saveFile", -1, "Could not create file"}, {"b", code, "c"}},
                   options_);
  }

  Options options_;
};

TEST_F(HintTest, SaysWhatToCheckWhenThereIsNoConnection) {
  EXPECT_EQ(hintForReason(1),
            "Check the host's name in the address, and that this computer is online.");
  EXPECT_EQ(hintForReason(2),
            "Check the address and its port; where a proxy is needed, --proxy names it.");
  EXPECT_EQ(hintForReason(3),
            "Check the address: perhaps the server speaks http only, or an old TLS.");
  EXPECT_EQ(hintForReason(4),
            "Check the proxy; --proxy names another one, --no-proxy does without.");
}

TEST_F(HintTest, SaysThatABrokenTransferCanBeTriedAgain) {
  for (const int reason : {5, 6, 7, 8})
    EXPECT_EQ(hintForReason(reason), "Run it again: what was fetched stays.");
}

TEST_F(HintTest, SaysNothingWhereThereIsNothingToSay) {
  for (const int reason : {0, 9, 10, 11, 12, 14})
    EXPECT_EQ(hintForReason(reason), "");
  EXPECT_EQ(hintForMessage("Unexpected HTTP status (204)"), "");
  EXPECT_EQ(hintForMessage("something else"), "");
  EXPECT_EQ(hintForMessage("Download aborted (1)"), "");
  EXPECT_EQ(hintFor({}, options_), "");
}

TEST_F(HintTest, ExplainsWhatAServerAnswers) {
  EXPECT_EQ(hintForMessage("Unexpected HTTP status (404)"),
            "Check the address: where a library is, there are id.txt and filelist.json.");
  EXPECT_EQ(hintForMessage("unexpected HTTP status 404"),
            "Check the address: where a library is, there are id.txt and filelist.json.");
  for (const char* status : {"301", "302", "307", "308"}) {
    EXPECT_EQ(hintForMessage("Unexpected HTTP status (" + std::string(status) + ")"),
              "The library has moved: use its new address.");
  }
  for (const char* status : {"401", "403"}) {
    EXPECT_EQ(hintForMessage("Unexpected HTTP status (" + std::string(status) + ")"),
              "The server lets nobody in here: check the address, or ask who runs the server.");
  }
  EXPECT_EQ(hintForMessage("Unexpected HTTP status (407)"),
            "The proxy asks for a password, which cannot be given; --no-proxy does without.");
  EXPECT_EQ(hintForMessage("Unexpected HTTP status (503)"),
            "The server is in trouble: run it again later.");
}

TEST_F(HintTest, TellsAFileThatIsNotThereFromALibraryThatIsNot) {
  for (const char* status : {"301", "302", "307", "308", "401", "403", "404"}) {
    const ErrorEntry cause{"HttpDldDone::expectStatus", -1,
                           "Unexpected HTTP status (" + std::string(status) + ")"};
    const std::string hint =
        "The library lacks a file that it lists; \"mtlpublish verify https://a.example/lib\" names "
        "it: tell its publisher.";
    EXPECT_EQ(hintFor({cause}, options_), hint);
    EXPECT_EQ(hintFor({{"DownloaderImpl::downloadFiles", -1, "Requesting..."}, cause}, options_),
              hint);
    for (const char* tag : {"DownloaderImpl::downloadListFile", "mtlsync"})
      EXPECT_NE(hintFor({{tag, -1, "Could not..."}, cause}, options_), hint);
  }
  options_.subPath = "beta";
  EXPECT_EQ(hintFor({{"a", -1, "Unexpected HTTP status (404)"}}, options_),
            "The library lacks a file that it lists: tell its publisher.");
}

TEST_F(HintTest, SaysWhereOneMustBeAbleToWrite) {
  EXPECT_EQ(
      hintFor({{"a", -1, "Create download directory failed"}, {"b", 5, "(5) Denied."}}, options_),
      "Check that you may write in \"/data/m\".");
}

TEST_F(HintTest, NamesTheRepairAfterAFailedSave) {
  const std::string command =
      ", \"mtlsync --repair https://a.example/lib /data/m\" fetches whatever is missing or cut.";
  EXPECT_EQ(hintForSave(-1), "Once the disk is healthy" + command);
  EXPECT_EQ(hintForSave(112), "Once there is room on the disk" + command);
  EXPECT_EQ(hintForSave(39), "Once there is room on the disk" + command);
  EXPECT_EQ(hintForSave(5), "Once you may write there" + command);
}

TEST(CommandWith, QuotesWhatAShellWouldNotTakeAsItStands) {
  Options options;
  options.url = "http://a/?x&y";
  options.directory = "C:\\my \"$HOME` dir\\";
  options.subPath = "b c";
  EXPECT_EQ(commandWith("--repair", options),
            "mtlsync --repair --sub-path \"b c\" \"http://a/?x&y\" "
            "\"C:/my \\\"\\$HOME\\` dir/\"");
}

TEST_F(HintTest, NamesTheCommandThatFixesDifferences) {
  EXPECT_EQ(hintForDifferences(options_),
            "\"mtlsync --repair https://a.example/lib /data/m\" fetches what is missing or wrong.");
}

TEST(CommandWith, KeepsTheProxy) {
  Options options;
  options.url = "http://a";
  options.directory = "m";
  options.proxyMode = PROXY_MODE_DISABLED;
  EXPECT_EQ(commandWith("--repair", options), "mtlsync --repair --no-proxy http://a m");
  options.proxyMode = PROXY_MODE_EXPLICIT;
  options.proxyAddress = "p q:80";
  EXPECT_EQ(commandWith("", options), "mtlsync --proxy \"p q:80\" http://a m");
}

TEST(CommandWith, PutsWhatLooksLikeAnOptionBehindThem) {
  Options options;
  options.url = "http://a";
  options.directory = "-m";
  EXPECT_EQ(commandWith("--repair", options), "mtlsync --repair -- http://a -m");
  const std::array<const char*, 5> words{"mtlsync", "--repair", "--", "http://a", "-m"};
  const CommandLine line = parseCommandLine(words.size(), words.data());
  EXPECT_EQ(line.options.url, "http://a");
  EXPECT_EQ(line.options.directory, "-m");
}

TEST(CommandWith, LeavesAnUnknownAddressToTheUser) {
  Options options;
  options.directory = "m";
  EXPECT_EQ(commandWith("", options), "mtlsync URL m");
}

}  // namespace
}  // namespace mtlsync
