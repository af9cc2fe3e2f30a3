// Tests keys that are made, kept in files and signed with.
#include "signing/secret_key.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "signing/minisign_files.h"

namespace {

using namespace minisign_files;
using mtlsigning::PasswordCost;
using mtlsigning::SecretKey;
using mtlsigning::SecretKeyFile;

// The least that scrypt can do.
constexpr PasswordCost kCheap{32768, 16777216};

std::string problemOf(const std::string& file, const std::string& password) {
  const auto parsed = SecretKeyFile::parse(file);
  if (!parsed) return "no file";
  std::string problem;
  return parsed->open(password, problem) ? "" : problem;
}

SecretKey opened(const std::string& file, const std::string& password = "") {
  std::string problem;
  const auto key = SecretKeyFile::parse(file).value().open(password, problem);
  EXPECT_EQ(problem, "");
  return key.value();
}

TEST(SecretKey, OfMinisignSignsAsMinisignDoes) {
  const SecretKey key = opened(kSecretKey);
  EXPECT_EQ(mtlsigning::publicKeyText(key.publicKey()), kPublicKeyText);
  EXPECT_EQ(mtlsigning::signatureFile(key.sign(kContent, "library: x; serial: 1")), kSignature);
  EXPECT_EQ(SecretKeyFile::text(key, ""), kSecretKey);
}

TEST(SecretKey, IsAnotherOneEachTime) {
  const auto first = SecretKey::generate();
  const auto second = SecretKey::generate();
  ASSERT_TRUE(first && second);
  EXPECT_FALSE(first->publicKey().id == second->publicKey().id);
  EXPECT_FALSE(first->publicKey().bytes == second->publicKey().bytes);
}

TEST(SecretKey, SignsWhatItsPublicKeyChecks) {
  const SecretKey key = SecretKey::generate().value();
  const mtlsigning::Signature signature = key.sign("content", "comment");
  EXPECT_TRUE(mtlsigning::isCommentSigned(signature, key.publicKey()));
  EXPECT_TRUE(mtlsigning::isContentSigned(signature, key.publicKey(), "content"));
  const mtlsigning::PublicKey other = SecretKey::generate().value().publicKey();
  EXPECT_FALSE(mtlsigning::isCommentSigned(signature, other));
}

TEST(SecretKeyFile, KeepsAKey) {
  const SecretKey key = SecretKey::generate().value();
  EXPECT_TRUE(opened(SecretKeyFile::text(key, "")).publicKey() == key.publicKey());
  const std::string encrypted = SecretKeyFile::text(key, "päss word", kCheap);
  EXPECT_TRUE(SecretKeyFile::parse(encrypted).value().isEncrypted());
  EXPECT_FALSE(SecretKeyFile::parse(kSecretKey).value().isEncrypted());
  EXPECT_TRUE(opened(encrypted, "päss word").publicKey() == key.publicKey());
  EXPECT_EQ(mtlsigning::signatureFile(opened(encrypted, "päss word").sign("a", "b")),
            mtlsigning::signatureFile(key.sign("a", "b")));
}

// Takes a gigabyte, and seconds.
TEST(SecretKeyFile, OfMinisignOpensWithItsPassword) {
  EXPECT_EQ(mtlsigning::publicKeyText(opened(kEncryptedKey, "word").publicKey()),
            kPublicKeyOfEncrypted);
}

TEST(SecretKeyFile, IsEncryptedAnewEachTime) {
  const SecretKey key = SecretKey::generate().value();
  EXPECT_NE(SecretKeyFile::text(key, "x", kCheap), SecretKeyFile::text(key, "x", kCheap));
}

TEST(SecretKeyFile, OpensWithItsPasswordAlone) {
  const std::string file = SecretKeyFile::text(SecretKey::generate().value(), "word", kCheap);
  EXPECT_EQ(problemOf(file, "word"), "");
  for (const char* password : {"", "Word", "word ", "wor"})
    EXPECT_EQ(problemOf(file, password), "the password is wrong") << password;
}

TEST(SecretKeyFile, SaysWhenThereIsNotTheMemory) {
  constexpr std::uint64_t kTooMuch = std::uint64_t{1} << 62U;
  EXPECT_EQ(SecretKeyFile::text(SecretKey::generate().value(), "x", {kTooMuch, kTooMuch}), "");
}

// The key itself follows its identifier, which nothing protects without a password.
TEST(SecretKeyFile, OfADamagedKeyOpensNone) {
  for (std::size_t i = kSecretKey.find('\n') + 1 + 84; i + 1 < kSecretKey.size(); ++i) {
    std::string file = kSecretKey;
    file[i] = file[i] == 'B' ? 'C' : 'B';
    EXPECT_THAT(problemOf(file, ""), testing::AnyOf("the key is damaged", "no file")) << i;
  }
  for (std::size_t i = 0; i < kSecretKey.size(); ++i)
    EXPECT_EQ(problemOf(kSecretKey.substr(0, i), ""), "no file") << i;
}

TEST(SecretKeyFile, IsNoOtherText) {
  for (const std::string& text : {std::string(), kPublicKey, kSignature, kSecretKey + "\n"})
    EXPECT_FALSE(SecretKeyFile::parse(text)) << text;
}

}  // namespace
