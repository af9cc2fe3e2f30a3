// Tests that what a stamp says is believed only when the holder of a key has signed it.
#include "signing/signed_release.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "signing/secret_key.h"

namespace mtlsigning {
namespace {

class SignedReleaseTest : public testing::Test {
 protected:
  SignedReleaseTest() {
    release_.library = "oak";
    release_.serial = 7;
    release_.list.size = 3;
  }

  std::string stamp() const { return signatureFile(key_.sign("[]\n", commentText(release_))); }

  /// Why it is none; "" when it is one.
  std::string problemOf(const std::string& stamp) {
    std::string problem;
    read_ = signedReleaseFrom(stamp, keys_, problem);
    EXPECT_EQ(problem.empty(), read_.has_value());
    return problem;
  }

  SecretKey key_ = SecretKey::generate().value();
  SecretKey other_ = SecretKey::generate().value();
  std::vector<PublicKey> keys_{other_.publicKey(), key_.publicKey()};
  Release release_;
  std::optional<SignedRelease> read_;
};

TEST_F(SignedReleaseTest, IsWhatTheHolderOfOneOfTheKeysSigned) {
  ASSERT_EQ(problemOf(stamp()), "");
  EXPECT_EQ(read_->release, release_);
  EXPECT_EQ(read_->key, key_.publicKey());
  EXPECT_TRUE(isContentSigned(read_->signature, read_->key, "[]\n"));
}

TEST_F(SignedReleaseTest, IsNoOtherText) {
  EXPECT_EQ(problemOf("7a1bc3d2"), "is not signed");
  EXPECT_EQ(problemOf(stamp().substr(0, 200)), "is not a whole signature");
}

TEST_F(SignedReleaseTest, IsNotOfAKeyThatNobodyGave) {
  keys_.pop_back();
  EXPECT_EQ(problemOf(stamp()), "was signed with key " + idText(key_.publicKey().id) +
                                    ", which is not one of those given");
  keys_.clear();
  EXPECT_NE(problemOf(stamp()), "");
}

TEST_F(SignedReleaseTest, IsNotOfAKeyThatOnlyHasTheSameNumber) {
  keys_[0].id = key_.publicKey().id;
  EXPECT_EQ(problemOf(stamp()),
            "has a wrong signature: it was changed, or not made with key " + idText(keys_[0].id));
}

TEST_F(SignedReleaseTest, IsNotWhatWasChanged) {
  std::string changed = stamp();
  changed[changed.find("serial: 7") + 8] = '8';
  EXPECT_EQ(problemOf(changed), "has a wrong signature: it was changed, or not made with key " +
                                    idText(key_.publicKey().id));
}

TEST_F(SignedReleaseTest, IsNotAnotherComment) {
  EXPECT_EQ(problemOf(signatureFile(key_.sign("[]\n", "timestamp:1"))),
            "has a comment that does not describe a release of a library");
}

}  // namespace
}  // namespace mtlsigning
