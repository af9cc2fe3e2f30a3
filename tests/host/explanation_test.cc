// Tests the explanations of failures: their kind, what they are about, a sentence and a hint.
#include "explanation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "mtlhost/system.h"

namespace mtlhost {
namespace {

using Cause = mtlupdate::Failure::Cause;
using FailureKind = mtlupdate::Failure::Kind;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

const Subject kSubject{"https://a.example/lib", "/data/m", "", "", ""};
const std::string kStamp = "https://a.example/lib/id.txt";

Errors chainOf(const std::vector<Error>& records, const std::string& failedFile = "",
               const Subject& subject = kSubject) {
  Errors chain = records;
  explainChain(chain, subject, failedFile);
  return chain;
}

Error stampError() {
  return {"DownloaderImpl::readRemoteIdFile", -1, "Could not download remote stamp file"};
}
Error connectionError(const std::string& numbers) {
  return {"HttpGetter::responseErrorCb", -1, "Connection error: " + numbers};
}
Error statusError(int status) {
  return {"HttpDldDone::expectStatus", -1,
          "Unexpected HTTP status (" + std::to_string(status) + ")"};
}
Error forReason(int reason) {
  return chainOf({stampError(),
                  connectionError("reason=" + std::to_string(reason) + " extraF=0 underlying=0")})
      .front();
}

TEST(ExplainChain, LeavesTheChainAsItIs) {
  const Errors chain = chainOf({stampError(), statusError(404)});
  ASSERT_EQ(chain.size(), 2U);
  EXPECT_EQ(chain[0].message, "Could not download remote stamp file");
  EXPECT_EQ(chain[0].tag, "DownloaderImpl::readRemoteIdFile");
  EXPECT_EQ(chain[1].message, "Unexpected HTTP status (404)");
  EXPECT_EQ(chain[1].sentence, "") << "the first one explains the chain";
}

TEST(ExplainChain, HasAKindForEachReasonOfAConnection) {
  EXPECT_EQ(forReason(1).kind, ErrorKind::kName);
  EXPECT_EQ(forReason(2).kind, ErrorKind::kConnection);
  EXPECT_EQ(forReason(3).kind, ErrorKind::kConnection);
  EXPECT_EQ(forReason(4).kind, ErrorKind::kProxy);
  for (const int reason : {5, 6, 7, 8, 12})
    EXPECT_EQ(forReason(reason).kind, ErrorKind::kConnection) << reason;
  EXPECT_EQ(forReason(9).kind, ErrorKind::kCancelled);
  EXPECT_EQ(forReason(10).kind, ErrorKind::kAnswer);
  EXPECT_EQ(forReason(11).kind, ErrorKind::kMemory);
  EXPECT_EQ(forReason(13).kind, ErrorKind::kCertificate);
  EXPECT_EQ(forReason(14).kind, ErrorKind::kAnswer);
  EXPECT_EQ(forReason(77).kind, ErrorKind::kConnection);
}

TEST(ExplainChain, MakesASentenceOfTheNumbers) {
  const Error error = forReason(13);
  EXPECT_EQ(error.about, kStamp);
  EXPECT_EQ(error.sentence,
            "Could not fetch " + kStamp + ": the server's certificate could not be verified.");
  EXPECT_THAT(error.hint, StartsWith("Check the address and this computer's clock."));
  std::string system = systemErrorText(5);
  if (system.back() != '.') system += '.';  // Windows' texts are sentences.
  EXPECT_EQ(
      chainOf({stampError(), connectionError("reason=2 extraF=1000 underlying=5")})[0].sentence,
      "Could not fetch " + kStamp + ": could not connect to the server: " + system);
  EXPECT_THAT(
      chainOf({stampError(), connectionError("reason=10 extraF=2000 underlying=6")})[0].sentence,
      EndsWith(": the answer is not valid HTTP: its chunks are malformed."));
  EXPECT_THAT(
      chainOf({stampError(), connectionError("reason=2 extraF=2000 underlying=6")})[0].sentence,
      EndsWith(": could not connect to the server."));
}

TEST(ExplainChain, NamesWhatWasAskedFor) {
  const auto aboutOf = [](const std::vector<Error>& chain, const std::string& failedFile = "") {
    return chainOf(chain, failedFile).front().about;
  };
  const Error cause = statusError(404);
  EXPECT_EQ(aboutOf({stampError(), cause}), kStamp);
  EXPECT_EQ(
      aboutOf({{"DownloaderImpl::downloadListFile", -1, "Could not download list file"}, cause}),
      "https://a.example/lib/filelist.json");
  EXPECT_EQ(
      aboutOf({{"DownloaderImpl::downloadFiles", -1, "Downloading \"a b.tx\" file failed"}, cause}),
      "https://a.example/lib/a%20b.tx");
  EXPECT_EQ(aboutOf({cause}, "maps/oak.tx"), "https://a.example/lib/maps/oak.tx");
  EXPECT_EQ(aboutOf({{"DownloaderImpl::parseListFile", -1, "Exception parsing json file list: x"}}),
            "https://a.example/lib/filelist.json");
  EXPECT_EQ(aboutOf({{"DownloaderImpl::download", -1, "Create download directory failed"},
                     {"createPathImpl", 5, "(5) Access is denied.\r\n"}}),
            "/data/m");
  const Error save{"DownloaderImpl::saveFile", -1, "Could not create file \"a.tx\""};
  EXPECT_EQ(
      aboutOf({{"DownloaderImpl::downloadFiles", -1, "Requesting download for \"b\" file failed"},
               save,
               {"PFileStream::Create", 112, "(112) Full.\r\n"}}),
      "/data/m/a.tx");
}

TEST(ExplainChain, NamesTheLibraryWhereNothingNearerIsKnown) {
  const auto of = [](const Error& cause) { return chainOf({cause}).front(); };
  EXPECT_EQ(of({"a", -1, "Download aborted (1)"}).about, kSubject.address);
  EXPECT_EQ(of({"a", -1, "Out of memory"}).about, kSubject.address);
  EXPECT_EQ(of({"a", -1, "something else"}).about, kSubject.address);
  EXPECT_EQ(of(statusError(404)).about, kSubject.address);
  EXPECT_EQ(of(limitError()).about, kSubject.address);
  const mtlupdate::Failure cancelled{mtlupdate::Failure::Kind::kCancelled, "", ""};
  EXPECT_EQ(explainedError(cancelled, kSubject).about, kSubject.address);
}

TEST(ExplainChain, NamesTheStampAndTheListOfASubPath) {
  Subject subject = kSubject;
  subject.subPath = "beta";
  EXPECT_EQ(chainOf({stampError(), statusError(404)}, "", subject).front().about,
            "https://a.example/lib/beta/id.txt");
  EXPECT_EQ(chainOf({{"DownloaderImpl::downloadListFile", -1, "Could not download list file"},
                     statusError(404)},
                    "", subject)
                .front()
                .about,
            "https://a.example/beta/lib/filelist.json");
}

TEST(ExplainChain, SaysWhatAStatusMeans) {
  const auto of = [](int status) { return chainOf({stampError(), statusError(status)}).front(); };
  EXPECT_EQ(of(404).sentence, "Could not fetch " + kStamp +
                                  ": the server answered with HTTP status 404: there is no such "
                                  "file.");
  EXPECT_EQ(of(404).hint,
            "Check the address: a library has the files id.txt and filelist.json there.");
  for (const int status : {301, 302, 307, 308})
    EXPECT_THAT(of(status).hint, StartsWith("If the library has moved, use its new address. "));
  EXPECT_THAT(of(401).hint, HasSubstr("token"));
  EXPECT_THAT(of(403).hint, HasSubstr("library's publisher for access"));
  EXPECT_THAT(of(500).hint, HasSubstr("try again later"));
  EXPECT_EQ(of(204).hint, "");
  EXPECT_EQ(of(404).kind, ErrorKind::kAnswer);
  EXPECT_EQ(of(407).kind, ErrorKind::kProxy);
  EXPECT_EQ(of(407).hint, "Set the proxy's user name and password.");
}

TEST(ExplainChain, TellsAFileThatIsNotThereFromALibraryThatIsNot) {
  for (const int status : {301, 403, 404}) {
    EXPECT_EQ(
        chainOf({statusError(status)}, "a.tx").front().hint,
        "The library's list names a file that its server does not provide: report this to the "
        "publisher.");
  }
}

TEST(ExplainChain, NamesTheProxy) {
  Subject subject = kSubject;
  subject.proxy = "proxy.lan:3128";
  const Error error =
      chainOf({stampError(), connectionError("reason=4 extraF=0 underlying=56")}, "", subject)
          .front();
  EXPECT_EQ(error.about, "proxy.lan:3128");
  EXPECT_EQ(error.sentence, "Could not fetch " + kStamp +
                                " through the proxy proxy.lan:3128: the proxy could not be "
                                "reached, or refused the connection.");
}

TEST(ExplainChain, SaysWhyAFileCouldNotBeWritten) {
  const auto of = [](int code) {
    return chainOf({{"DownloaderImpl::saveFile", -1, "Could not create file \"a.tx\""},
                    {"PFileStream::Create", code,
                     "(" + std::to_string(code) + ") The system's words.\r\n"}})
        .front();
  };
  EXPECT_EQ(of(112).sentence, "\"/data/m/a.tx\" cannot be written: The system's words.");
  EXPECT_EQ(of(112).kind, ErrorKind::kDisk);
  EXPECT_THAT(of(112).hint, StartsWith("Free some space on the disk."));
  EXPECT_EQ(of(5).kind, ErrorKind::kPermission);
  EXPECT_THAT(of(5).hint, StartsWith("Check that you have permission to write to \"/data/m\"."));
  EXPECT_EQ(of(19).kind, ErrorKind::kPermission);
  EXPECT_THAT(of(32).hint, StartsWith("Close the program that is using it."));
  EXPECT_THAT(of(206).hint, StartsWith("Choose a folder with a shorter name."));
}

TEST(ExplainChain, SaysThatItWasCancelled) {
  const Error error =
      chainOf({stampError(), {"HttpGetter::responseProgressCb", -1, "Download aborted (1)"}})
          .front();
  EXPECT_EQ(error.kind, ErrorKind::kCancelled);
  EXPECT_EQ(error.sentence, "Cancelled.");
  EXPECT_EQ(error.hint, "");
}

TEST(ExplainChain, SaysWhatItCannotExplain) {
  const Error error = chainOf({{"A::b", -1, "something"}, {"C::d", -1, "else\nwrong"}}).front();
  EXPECT_EQ(error.kind, ErrorKind::kOther);
  EXPECT_EQ(error.sentence, "Something: else wrong.");
}

TEST(ExplainChain, NamesTheAddressOrTheProxyThatCannotBeUsed) {
  const Error init{"DownloaderImpl::initHttpGetter", -1, "Could not use download URL \"ftp://x\""};
  const Error address =
      chainOf({init, {"DownloaderImpl::initHttpGetter", -1, "Unkown addressing scheme"}}).front();
  EXPECT_EQ(address.kind, ErrorKind::kAddress);
  EXPECT_EQ(address.about, kSubject.address);
  const Error proxy =
      chainOf({init, {"HttpClientPool::setProxyServer", -1, "Invalid proxy \"a b\", port 80"}})
          .front();
  EXPECT_EQ(proxy.kind, ErrorKind::kProxy);
  EXPECT_EQ(proxy.about, "a b");
}

TEST(ExplainWarning, NamesTheStampThatCouldNotBeWritten) {
  Errors chain{{"mtlhost", -1,
                "Creating local stamp file failed: [PFileStream::Create] 5: (5) Denied.\r\n"}};
  explainWarning(chain, kSubject);
  EXPECT_EQ(chain[0].kind, ErrorKind::kPermission);
  EXPECT_EQ(chain[0].about, "/data/m/id.txt");
  EXPECT_EQ(chain[0].sentence, "\"/data/m/id.txt\" cannot be written: Denied.");
}

TEST(ExplainWarning, NamesTheListThatIsEmpty) {
  Errors chain{{"mtlhost", -1, "Incorrect size of json file list (0 bytes)"}};
  explainWarning(chain, kSubject);
  EXPECT_EQ(chain[0].kind, ErrorKind::kContent);
  EXPECT_EQ(chain[0].about, "https://a.example/lib/filelist.json");
}

Error engineError(mtlupdate::Failure failure) {
  return explainedError(failure, kSubject);
}

TEST(ExplainedError, TellsCertificatesApart) {
  const auto of = [](Cause cause) {
    return engineError(mtlupdate::because(
        cause, {FailureKind::kNetwork, "why", kStamp, false, /*connectionReason=*/13}));
  };
  EXPECT_EQ(of(Cause::kOtherName).sentence, "Could not fetch " + kStamp + ": why.");
  EXPECT_THAT(of(Cause::kCertificateNotNow).hint, StartsWith("Check this computer's clock"));
  EXPECT_THAT(of(Cause::kOtherName).hint, StartsWith("Check the address"));
  EXPECT_THAT(of(Cause::kUnknownAuthority).hint, HasSubstr("CA file"));
  EXPECT_THAT(of(Cause::kNoAuthorities).hint, StartsWith("Check the file of trusted"));
}

TEST(ExplainedError, NamesFilesWithTheSystemsWords) {
  mtlupdate::Failure failure{FailureKind::kDisk, "cannot be replaced: No", "/data/m/a"};
  failure.system = std::make_error_code(std::errc::no_space_on_device);
  const Error error = engineError(failure);
  EXPECT_EQ(error.kind, ErrorKind::kDisk);
  EXPECT_EQ(error.about, "/data/m/a");
  EXPECT_EQ(error.sentence, "\"/data/m/a\" cannot be replaced: No.");
  EXPECT_THAT(error.hint, StartsWith("Free some space on the disk."));
  EXPECT_EQ(error.message, "/data/m/a: cannot be replaced: No");
}

TEST(ExplainedError, TellsAWebPageFromALibrary) {
  const Error error = engineError(mtlupdate::because(
      Cause::kWebPage, {FailureKind::kContent, "it is not a list", "http://a/filelist.json"}));
  EXPECT_EQ(error.sentence,
            "The file http://a/filelist.json cannot be used: it is a web page, not a "
            "library's list.");
  EXPECT_THAT(error.hint, HasSubstr("log-in page"));
}

TEST(ExplainedError, IsFitToBeShown) {
  const Error error = engineError({FailureKind::kContent, "a\nb", "http://h/\x1b[31m"});
  EXPECT_EQ(error.sentence, "The file http://h/\\x1B[31m cannot be used: a b.");
}

TEST(NameOf, NamesEachKindOnce) {
  std::vector<std::string> names;
  for (int kind = 0; kind <= static_cast<int>(ErrorKind::kMemory); ++kind)
    names.emplace_back(nameOf(static_cast<ErrorKind>(kind)));
  std::sort(names.begin(), names.end());
  EXPECT_EQ(std::unique(names.begin(), names.end()), names.end());
}

}  // namespace
}  // namespace mtlhost
