// Tests keys and signatures as users of the program see them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "signing/release_comment.h"
#include "signing/secret_key.h"
#include "support/child_process.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using mtlsigning::SecretKey;
using mtlsigning::SecretKeyFile;
using testing::HasSubstr;
using testing::StartsWith;

class SigningProgram : public testing::Test {
 protected:
  SigningProgram() {
    writeFile(dir_ / "library/a", "1");
    writeFile(dir_ / "oak.key", SecretKeyFile::text(key_, ""));
    writeFile(dir_ / "oak.pub", mtlsigning::publicKeyFile(key_.publicKey()));
  }

  ProcessResult run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), MTLPUBLISH);
    return runProcess(arguments);
  }

  void expectFailure(const std::vector<std::string>& arguments, const std::string& message) {
    const ProcessResult result = run(arguments);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "mtlpublish: " + message + "\n");
  }

  void expectUsageError(const std::vector<std::string>& arguments, const std::string& message) {
    const ProcessResult result = run(arguments);
    EXPECT_EQ(result.exitCode, 2) << message;
    EXPECT_THAT(result.err, StartsWith("mtlpublish: " + message + "\n"));
  }

  TempDir dir_;
  SecretKey key_ = SecretKey::generate().value();
  const std::string library_ = dir_ / "library";
};

TEST_F(SigningProgram, MakesAPairOfKeys) {
  const std::string name = dir_ / "new key";
  const ProcessResult result = run({"keygen", "--no-password", name});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "mtlpublish: warning: " + name +
                            ".key has no password: whoever reads it can sign in your name\n");
  const auto key = mtlsigning::publicKeyFrom(readFile(name + ".pub"));
  ASSERT_TRUE(key);
  EXPECT_EQ(result.out, "Wrote " + name + ".key, which is secret, and " + name +
                            ".pub\nPublic key " + mtlsigning::publicKeyText(*key) + "\n");
  const auto file = SecretKeyFile::parse(readFile(name + ".key"));
  ASSERT_TRUE(file);
  EXPECT_FALSE(file->isEncrypted());
  std::string problem;
  EXPECT_TRUE(file->open("", problem)->publicKey() == *key);
}

// Encrypting takes a gigabyte, and seconds.
TEST_F(SigningProgram, MakesAKeyWithAPassword) {
  writeFile(dir_ / "password", "pass word\r\nsecond line");
  const std::string name = dir_ / "new";
  const ProcessResult result =
      runProcess({MTLPUBLISH, "keygen", "--password-file", dir_ / "password", name}, {}, 300);
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.err, "");
  const auto file = SecretKeyFile::parse(readFile(name + ".key"));
  ASSERT_TRUE(file);
  EXPECT_TRUE(file->isEncrypted());
  std::string problem;
  const auto key = file->open("pass word", problem);
  ASSERT_TRUE(key) << problem;
  EXPECT_TRUE(key->publicKey() == mtlsigning::publicKeyFrom(readFile(name + ".pub")));
}

TEST_F(SigningProgram, SignsWithAPassword) {
  // The least that scrypt can do.
  const std::string file = dir_ / "oak.key";
  writeFile(file, SecretKeyFile::text(key_, "pass word", {32768, 16777216}));
  writeFile(dir_ / "password", "pass word\n");
  const std::vector<std::string> build{
      "build",           "-q",     "--sign", file,    "--password-file",
      dir_ / "password", "--name", "oak",    library_};
  const ProcessResult result = run(build);
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(run({"verify", "-q", "--key", dir_ / "oak.pub", library_}).exitCode, 0);
  writeFile(dir_ / "password", "password");
  expectFailure(build, file + ": the password is wrong");
}

TEST_F(SigningProgram, ReplacesNoKey) {
  const std::string before = readFile(dir_ / "oak.key");
  expectFailure({"keygen", "--no-password", dir_ / "oak"}, dir_ / "oak.key: is there already");
  EXPECT_EQ(readFile(dir_ / "oak.key"), before);
  fs::remove(dir_ / "oak.key");
  expectFailure({"keygen", "--no-password", dir_ / "oak"}, dir_ / "oak.pub: is there already");
  EXPECT_FALSE(fs::exists(dir_ / "oak.key"));
}

TEST_F(SigningProgram, TakesNoEmptyPassword) {
  writeFile(dir_ / "password", "\nword\n");
  const std::string message = dir_ / "password: has no password in its first line";
  expectFailure({"keygen", "--password-file", dir_ / "password", dir_ / "new"}, message);
  EXPECT_FALSE(fs::exists(dir_ / "new.key"));
  const ProcessResult result = run({"keygen", "--password-file", "-", dir_ / "new"});
  EXPECT_EQ(result.err, "mtlpublish: -: has no password in its first line\n");
}

TEST_F(SigningProgram, SignsAsTheConfigurationSays) {
  writeFile(library_ + "/library.toml",
            "name = 'Oak'\n[signing]\nkey = '../oak.key'\nexpires = 30\nsub-path = 'beta'\n");
  EXPECT_THAT(run({"build", library_}).out, HasSubstr("1 file, 1 byte, serial "));
  const std::string comment = run({"build", "--prepare", library_}).out;
  EXPECT_THAT(comment, StartsWith("library: Oak; sub-path: beta; "));
  EXPECT_THAT(comment, HasSubstr("; expires: "));
  EXPECT_THAT(run({"build", "--name", "Ash", library_}).out, HasSubstr("serial "));
  EXPECT_THAT(run({"build", "--prepare", "--name", "Ash", library_}).out,
              StartsWith("library: Ash; "));
  EXPECT_EQ(run({"diff", library_}).exitCode, 0) << "which needs no key";
  EXPECT_THAT(run({"build", "--no-sign", library_}).out, HasSubstr(", id "));
}

TEST_F(SigningProgram, SaysWhatItSigned) {
  const std::vector<std::string> build{"build", "--sign", dir_ / "oak.key", library_};
  expectFailure(build, "the library needs a name to be signed: give --name NAME");
  ProcessResult result = run({"build", "--sign", dir_ / "oak.key", "--name", "Oak", library_});
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(result.out, StartsWith("1 file, 1 byte, serial "));
  EXPECT_THAT(result.out, HasSubstr("\nFirst build\nNew clients fetch "));
  result = run(build);
  EXPECT_THAT(result.out, HasSubstr("\nNothing has changed since the last build\n"));
  result = run({"build", "--sign", dir_ / "oak.key", "--expires", "30", library_});
  EXPECT_THAT(result.out, HasSubstr("\nThe signature is new, though the list shows no change\n"));
  expectFailure({"build", library_},
                "the library was signed before, and clients may refuse it without: give --sign "
                "KEYFILE, --prepare or --no-sign");
  EXPECT_THAT(run({"build", "--no-sign", library_}).out, StartsWith("1 file, 1 byte, id "));
}

TEST_F(SigningProgram, PreparesTheCommentAlone) {
  const ProcessResult result =
      run({"build", "--prepare", "--name", "oak", "--sub-path", "beta/2", library_});
  EXPECT_EQ(result.err, "");
  ASSERT_FALSE(result.out.empty());
  EXPECT_EQ(readFile(dir_ / "library/.mtlpublish-signed"), result.out);
  EXPECT_THAT(result.out, StartsWith("library: oak; sub-path: beta/2; serial: "));
  EXPECT_FALSE(fs::exists(library_ + "/id.txt"));
  EXPECT_EQ(run({"build", "--prepare", library_}).out, result.out);
}

TEST_F(SigningProgram, VerifiesWithKeys) {
  run({"build", "--sign", dir_ / "oak.key", "--name", "Oak", library_});
  const std::string key = mtlsigning::publicKeyText(key_.publicKey());
  const std::string other = mtlsigning::publicKeyText(SecretKey::generate().value().publicKey());
  const std::string comment = readFile(dir_ / "library/.mtlpublish-signed");
  const std::string id = mtlsigning::idText(key_.publicKey().id);
  for (const std::string& given : {key, dir_ / "oak.pub"}) {
    const ProcessResult result = run({"verify", "--key", other, "--key", given, library_});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, "1 file, 1 byte, as listed\nsigned with key " + id + "; " + comment);
  }
  EXPECT_EQ(run({"verify", library_}).out, "1 file, 1 byte, as listed\nsigned with key " + id +
                                               ", which was not checked; " + comment);
  EXPECT_EQ(run({"verify", "--key", other, library_}).out,
            "id.txt: was signed with key " + id + ", which is not one of those given\n");
  ProcessResult result = run({"verify", "--key", dir_ / "none.pub", library_});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_EQ(result.err, "mtlpublish: " + dir_ / "none.pub" +
                            ": neither a public key nor a file that can be read: No such file or "
                            "directory\n");
  result = run({"verify", "--key", dir_ / "oak.key", library_});
  EXPECT_EQ(result.err,
            "mtlpublish: " + dir_ / "oak.key" + ": is not a public key of minisign's format\n");
}

TEST_F(SigningProgram, VerifiesThatTheListCoversEveryFile) {
  const std::string list = "[{\"path\":\"a\"},{\"path\":\"b\",\"size\":1}]\n";
  mtlsigning::Release release;
  release.library = "oak";
  release.list.size = list.size();
  writeFile(library_ + "/b", "1");
  writeFile(library_ + "/filelist.json", list);
  writeFile(library_ + "/id.txt",
            mtlsigning::signatureFile(key_.sign(list, mtlsigning::commentText(release))));
  const std::string problem =
      ": is not covered by the signature: the list lacks its size or digest\n";
  EXPECT_EQ(run({"verify", "--key", dir_ / "oak.pub", library_}).out,
            "a" + problem + "b" + problem);
  EXPECT_EQ(run({"verify", "-q", library_}).out, "");
}

TEST_F(SigningProgram, VerifiesALongStampNoFurtherThanSignaturesGo) {
  run({"build", "--sign", dir_ / "oak.key", "--name", "Oak", library_});
  fs::resize_file(library_ + "/id.txt", 1U << 20U);
  EXPECT_EQ(run({"verify", "--key", dir_ / "oak.pub", library_}).out,
            "id.txt: is longer than 64 KiB\n");
}

TEST_F(SigningProgram, SignsWithNoKeyThatWouldBePublished) {
  writeFile(library_ + "/oak.key", readFile(dir_ / "oak.key"));
  expectFailure({"build", "--sign", library_ + "/oak.key", "--name", "oak", library_},
                library_ + "/oak.key: lies in the folder that is published, and is secret");
  EXPECT_FALSE(fs::exists(library_ + "/id.txt"));
}

TEST_F(SigningProgram, SignsWithNothingButAKey) {
  expectFailure({"build", "--sign", dir_ / "oak.pub", "--name", "oak", library_},
                dir_ / "oak.pub: is not a secret key of minisign's format");
  expectFailure({"build", "--sign", dir_ / "none", "--name", "oak", library_},
                dir_ / "none: cannot be read: No such file or directory");
}

TEST_F(SigningProgram, RefusesWhatExcludesEachOther) {
  const std::string key = dir_ / "oak.key";
  const std::string exclusion = "--sign, --prepare and --no-sign exclude each other";
  expectUsageError({"build", "--sign", key, "--no-sign", library_}, exclusion);
  expectUsageError({"build", "--sign", key, "--prepare", library_}, exclusion);
  expectUsageError({"build", "--no-sign", "--prepare", library_}, exclusion);
  const std::string need = "--name, --sub-path and --expires need --sign or --prepare";
  expectUsageError({"build", "--name", "oak", library_}, need);
  expectUsageError({"build", "--sub-path", "beta", "--no-sign", library_}, need);
  expectUsageError({"build", "--expires", "3", library_}, need);
  expectUsageError({"build", "--prepare", "--expires", "0", library_},
                   "--expires: Value 0 not in range 1 to 3650");
  expectUsageError({"build", "--prepare", "--name", "a;b", library_},
                   "--name: 'a;b' is not a name for a library: 1 to 100 bytes, all visible, "
                   "without ';'");
  expectUsageError({"build", "--prepare", "--sub-path", "../x", library_},
                   "--sub-path: '../x' is not the way to write a sub-path");
}

}  // namespace
