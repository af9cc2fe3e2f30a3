// Tests what is said of a library's stamp, with keys and without.
#include "mtlpublish/signature_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "signing/release_comment.h"
#include "signing/secret_key.h"

namespace {

using mtlpublish::reportSignature;
using mtlpublish::SignatureReport;
using mtlsigning::SecretKey;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int64_t kNow = 1767225600;
const std::string kList = "[]\n";

class ReportedSignature : public testing::Test {
 protected:
  ReportedSignature() {
    release_.library = "oak";
    release_.serial = 7;
    release_.published = kNow;
    release_.list.size = kList.size();
  }

  std::string comment() { return mtlsigning::commentText(release_); }
  std::string stamp() { return mtlsigning::signatureFile(key_.sign(kList, comment())); }
  std::string id() { return mtlsigning::idText(key_.publicKey().id); }
  SignatureReport report(const std::string& stamp, const std::string& list = kList) {
    return reportSignature(stamp, list, {other_.publicKey(), key_.publicKey()}, kNow);
  }

  SecretKey key_ = SecretKey::generate().value();
  SecretKey other_ = SecretKey::generate().value();
  mtlsigning::Release release_;
};

TEST_F(ReportedSignature, IsGoodWithAnyOfTheKeys) {
  const SignatureReport good = report(stamp());
  EXPECT_THAT(good.problems, IsEmpty());
  EXPECT_EQ(good.text, "signed with key " + id() + "; " + comment());
}

TEST_F(ReportedSignature, IsNotCheckedWithoutKeys) {
  const SignatureReport unchecked = reportSignature(stamp(), kList, {}, kNow);
  EXPECT_THAT(unchecked.problems, IsEmpty());
  EXPECT_EQ(unchecked.text, "signed with key " + id() + ", which was not checked; " + comment());
  const SignatureReport none = reportSignature("1\n", kList, {}, kNow);
  EXPECT_THAT(none.problems, IsEmpty());
  EXPECT_EQ(none.text, "");
  EXPECT_THAT(reportSignature(stamp().substr(0, 90), kList, {}, kNow).problems,
              ElementsAre("id.txt: is not a whole signature"));
}

TEST_F(ReportedSignature, IsMissing) {
  EXPECT_THAT(report("1\n").problems, ElementsAre("id.txt: is not signed"));
}

TEST_F(ReportedSignature, IsOfAnUnknownKey) {
  EXPECT_THAT(
      reportSignature(stamp(), kList, {other_.publicKey()}, kNow).problems,
      ElementsAre("id.txt: was signed with key " + id() + ", which is not one of those given"));
}

TEST_F(ReportedSignature, IsWrong) {
  std::string changed = stamp();
  changed[changed.find("oak")] = 'O';
  EXPECT_THAT(
      report(changed).problems,
      ElementsAre("id.txt: has a wrong signature: it was changed, or not made with key " + id()));
}

TEST_F(ReportedSignature, IsOfAnotherList) {
  EXPECT_THAT(report(stamp(), "[ ]\n").problems,
              ElementsAre("filelist.json: is not the list that was signed"));
}

TEST_F(ReportedSignature, IsNotOfALibrary) {
  const std::string plain = mtlsigning::signatureFile(key_.sign(kList, "timestamp:1\tfile:x"));
  EXPECT_THAT(report(plain).problems,
              ElementsAre("id.txt: has a comment that does not describe a release of a library"));
  EXPECT_EQ(report(plain).text, "signed with key " + id() + "; timestamp:1\\x09file:x");
}

TEST_F(ReportedSignature, IsOfAListOfAnotherSize) {
  release_.list.size = 4;
  EXPECT_THAT(report(stamp()).problems,
              ElementsAre("id.txt: was signed for a list of another size"));
}

TEST_F(ReportedSignature, HasExpired) {
  release_.expires = kNow + 1;
  EXPECT_THAT(report(stamp()).problems, IsEmpty());
  release_.expires = kNow;
  EXPECT_THAT(report(stamp()).problems, ElementsAre("id.txt: expired at 2026-01-01T00:00:00Z"));
}

TEST_F(ReportedSignature, ComesFromTheFuture) {
  release_.published = kNow + 1;
  EXPECT_THAT(report(stamp()).problems,
              ElementsAre("id.txt: was published at 2026-01-01T00:00:01Z, later than the clock of "
                          "this computer says"));
}

}  // namespace
