// Tests signatures that minisign made, what becomes of them when anything is changed, and public
// keys.
#include "signing/signature.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "signing/minisign_files.h"

namespace {

using namespace minisign_files;
using mtlsigning::PublicKey;
using mtlsigning::Signature;

PublicKey key() {
  return mtlsigning::publicKeyFrom(kPublicKey).value();
}

Signature parsed(const std::string& text) {
  std::string problem;
  const auto signature = mtlsigning::signatureFrom(text, problem);
  EXPECT_EQ(problem, "");
  return signature.value();
}

std::string problemOf(const std::string& text) {
  std::string problem;
  EXPECT_FALSE(mtlsigning::signatureFrom(text, problem)) << text;
  return problem;
}

bool isAccepted(const std::string& text, const std::string& content) {
  std::string problem;
  const auto signature = mtlsigning::signatureFrom(text, problem);
  return signature && mtlsigning::isCommentSigned(*signature, key()) &&
         mtlsigning::isContentSigned(*signature, key(), content);
}

std::string withReturns(const std::string& text) {
  std::string result;
  for (const char character : text)
    result += character == '\n' ? std::string("\r\n") : std::string(1, character);
  return result;
}

TEST(Signature, OfMinisignIsAccepted) {
  EXPECT_TRUE(isAccepted(kSignature, kContent));
  EXPECT_TRUE(isAccepted(kSignatureOfContent, kContent));
  EXPECT_TRUE(isAccepted(withReturns(kSignature), kContent)) << "as minisign writes it on Windows";
}

TEST(Signature, SaysWhatItHolds) {
  const Signature signature = parsed(kSignature);
  EXPECT_TRUE(signature.isOfDigest);
  EXPECT_EQ(mtlsigning::idText(signature.keyId), "ABDF899AEF2B661F");
  EXPECT_EQ(signature.comment, "library: x; serial: 1");
  EXPECT_FALSE(parsed(kSignatureOfContent).isOfDigest);
  EXPECT_EQ(parsed(withReturns(kSignature)).comment, "library: x; serial: 1");
}

TEST(Signature, IsWrittenAsMinisignDoes) {
  EXPECT_EQ(mtlsigning::signatureFile(parsed(kSignature)), kSignature);
  EXPECT_EQ(mtlsigning::signatureFile(parsed(kSignatureOfContent)), kSignatureOfContent);
}

TEST(Signature, IsOfOneContentOnly) {
  for (const std::string& signature : {kSignature, kSignatureOfContent}) {
    for (const std::string content : {"", "hi", "hi\n\n", "ho\n"})
      EXPECT_FALSE(isAccepted(signature, content)) << content;
  }
}

TEST(Signature, IsRefusedWithAnyByteChanged) {
  for (const std::string& whole : {kSignature, kSignatureOfContent, withReturns(kSignature)}) {
    for (std::size_t i = 0; i < whole.size(); ++i) {
      for (const int change : {1, 2, 4, 8, 16, 32, 64, 128, 255}) {
        std::string text = whole;
        text[i] = static_cast<char>(text[i] ^ change);
        ASSERT_FALSE(isAccepted(text, kContent)) << i << ": " << text;
      }
    }
  }
}

TEST(Signature, IsRefusedWithAnyByteMissingOrDoubled) {
  for (std::size_t i = 0; i < kSignature.size(); ++i) {
    EXPECT_FALSE(isAccepted(kSignature.substr(0, i), kContent)) << i;
    std::string text = kSignature;
    EXPECT_FALSE(isAccepted(text.erase(i, 1), kContent)) << i;
    text = kSignature;
    EXPECT_FALSE(isAccepted(text.insert(i, 1, text[i]), kContent)) << i;
  }
  EXPECT_FALSE(isAccepted(kSignature + "\n", kContent));
  EXPECT_FALSE(isAccepted(kSignature + kSignature, kContent));
  EXPECT_FALSE(isAccepted("\xef\xbb\xbf" + kSignature, kContent));
}

TEST(Signature, SaysWhyItIsNone) {
  EXPECT_EQ(problemOf(""), "is not signed");
  EXPECT_EQ(problemOf(std::string(64, 'a') + "\n"), "is not signed");
  EXPECT_EQ(problemOf(kSignature.substr(0, 200)), "is not a whole signature");
  std::string other = kSignature;
  EXPECT_EQ(problemOf(other.replace(0, other.find('\n'), "untrusted comment: mine")),
            "begins with another untrusted comment than minisign's own, \"untrusted comment: "
            "signature from minisign secret key\"");
}

TEST(Signature, IsNotReadBeyondItsLimit) {
  const std::size_t start = kSignature.find("library");
  std::string text = kSignature;
  text.insert(start, mtlsigning::kLargestSignature - text.size(), 'x');
  EXPECT_EQ(parsed(text).comment.size(), mtlsigning::kLargestSignature - kSignature.size() + 21);
  EXPECT_EQ(problemOf(text.insert(start, "x")), "is longer than 64 KiB");
}

TEST(Signature, CountsForItsOwnKeyAlone) {
  const Signature signature = parsed(kSignature);
  PublicKey other = key();
  other.id[0] ^= 1U;
  EXPECT_FALSE(mtlsigning::isCommentSigned(signature, other));
  EXPECT_FALSE(mtlsigning::isContentSigned(signature, other, kContent));
  other = key();
  other.bytes[0] ^= 1U;
  EXPECT_FALSE(mtlsigning::isCommentSigned(signature, other));
  EXPECT_FALSE(mtlsigning::isContentSigned(signature, other, kContent));
  EXPECT_FALSE(mtlsigning::isContentSigned(signature, PublicKey{key().id, {}}, kContent));
}

TEST(ContentCheck, TakesAContentInPieces) {
  for (const std::string& text : {kSignature, kSignatureOfContent}) {
    mtlsigning::ContentCheck check(parsed(text), key());
    for (const char* piece : {"h", "", "i", "\n"})
      check.update(piece);
    mtlsigning::ContentCheck moved = std::move(check);
    EXPECT_TRUE(moved.finish());
  }
}

TEST(LooksSigned, TellsADamagedSignatureFromNone) {
  EXPECT_TRUE(mtlsigning::looksSigned(kSignature));
  EXPECT_TRUE(mtlsigning::looksSigned("untrusted comment: "));
  EXPECT_FALSE(mtlsigning::looksSigned("untrusted comment"));
  EXPECT_FALSE(mtlsigning::looksSigned(std::string(64, '0') + "\n"));
}

TEST(PublicKey, IsReadFromAFileOrItsText) {
  EXPECT_EQ(mtlsigning::idText(key().id), "ABDF899AEF2B661F");
  for (const std::string& text :
       {kPublicKeyText, kPublicKeyText + "\n", kPublicKeyText + "\r\n", withReturns(kPublicKey)})
    EXPECT_TRUE(mtlsigning::publicKeyFrom(text) == key()) << text;
  EXPECT_EQ(mtlsigning::publicKeyText(key()), kPublicKeyText);
  EXPECT_EQ(mtlsigning::publicKeyFile(key()), kPublicKey);
}

TEST(PublicKey, IsNoOtherText) {
  for (std::size_t i = 0; i < kPublicKeyText.size(); ++i)
    EXPECT_FALSE(mtlsigning::publicKeyFrom(kPublicKeyText.substr(0, i))) << i;
  std::string other = kPublicKeyText;
  other[1] = 'U';  // "ED", as signatures of digests begin.
  for (const std::string& text :
       {std::string(), std::string("\n"), other, " " + kPublicKeyText, kPublicKeyText + " ",
        kPublicKeyText + "=", kPublicKey + "\n", "comment: x\n" + kPublicKeyText + "\n", kSecretKey,
        kSignature, kPublicKeyText + "\n" + kPublicKeyText + "\n"}) {
    EXPECT_FALSE(mtlsigning::publicKeyFrom(text)) << text;
  }
}

TEST(PublicKey, IsFoundByItsId) {
  PublicKey other = key();
  other.id[7] ^= 1U;
  const std::vector<PublicKey> keys{other, key()};
  EXPECT_EQ(mtlsigning::findKey(keys, key().id), &keys[1]);
  EXPECT_EQ(mtlsigning::findKey(keys, {}), nullptr);
}

}  // namespace
