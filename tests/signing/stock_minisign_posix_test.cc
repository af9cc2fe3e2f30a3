// Tests that Debian's minisign accepts what is signed here, and what it signs is accepted here,
// with keys of either side, with a password and without.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "signing/secret_key.h"
#include "support/child_process.h"
#include "support/temp_dir.h"

namespace {

using mtlsigning::SecretKey;
using mtlsigning::SecretKeyFile;

const std::string kContent = "content\n";
const std::string kComment = "a comment, with words";

class StockMinisign : public testing::Test {
 protected:
  StockMinisign() { writeFile(dir_ / "list", kContent); }

  ProcessResult shell(const std::string& command) {
    return runProcess({"sh", "-c", "cd '" + dir_ / "" + "' && " + command});
  }

  void expectWorks(const std::string& command) {
    const ProcessResult result = shell(command);
    EXPECT_EQ(result.exitCode, 0) << command << '\n' << result.out << result.err;
  }

  void writeKey(const SecretKey& key, const std::string& password) {
    // The least that scrypt can do.
    writeFile(dir_ / "key", SecretKeyFile::text(key, password, {32768, 16777216}));
    writeFile(dir_ / "pub", mtlsigning::publicKeyFile(key.publicKey()));
  }

  void expectSignatureIsGood() {
    const auto key = mtlsigning::publicKeyFrom(readFile(dir_ / "pub"));
    std::string problem;
    const auto signature = mtlsigning::signatureFrom(readFile(dir_ / "stamp"), problem);
    ASSERT_TRUE(key && signature) << problem;
    EXPECT_EQ(signature->comment, kComment);
    EXPECT_TRUE(mtlsigning::isCommentSigned(*signature, *key));
    EXPECT_TRUE(mtlsigning::isContentSigned(*signature, *key, kContent));
  }

  TempDir dir_;
};

TEST_F(StockMinisign, AcceptsWhatIsSignedHere) {
  const SecretKey key = SecretKey::generate().value();
  writeKey(key, "");
  writeFile(dir_ / "stamp", mtlsigning::signatureFile(key.sign(kContent, kComment)));
  const ProcessResult result = shell("minisign -V -p pub -m list -x stamp");
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out,
            "Signature and comment signature verified\nTrusted comment: " + kComment + "\n");
  writeFile(dir_ / "list", "other\n");
  EXPECT_NE(shell("minisign -V -p pub -m list -x stamp").exitCode, 0);
}

TEST_F(StockMinisign, SignsWithKeysOfItsOwn) {
  expectWorks("minisign -G -W -p pub -s key");
  for (const char* kind : {"", "-l"}) {
    expectWorks(std::string("minisign -S ") + kind + " -s key -m list -x stamp -t '" + kComment +
                "'");
    expectSignatureIsGood();
  }
}

TEST_F(StockMinisign, SignsWithKeysOfThisSide) {
  const SecretKey key = SecretKey::generate().value();
  writeKey(key, "");
  expectWorks("minisign -S -s key -m list -x stamp -t '" + kComment + "'");
  EXPECT_EQ(readFile(dir_ / "stamp"), mtlsigning::signatureFile(key.sign(kContent, kComment)));
  writeKey(key, "word");
  std::filesystem::remove(dir_ / "stamp");
  expectWorks("echo word | minisign -S -s key -m list -x stamp -t '" + kComment + "'");
  expectSignatureIsGood();
}

}  // namespace
