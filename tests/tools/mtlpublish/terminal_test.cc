// Tests the program on a terminal, for which a console of Windows cannot be used: it reports what
// it shows, not what it was given.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

#include "signing/secret_key.h"
#include "support/child_process.h"
#include "support/temp_dir.h"

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::StartsWith;

constexpr int kColumns = 40;

/// What somebody types when a text has been shown.
struct Reply {
  std::string prompt;
  std::string typed;
};

bool isAtEndOf(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.npos, end) == 0;
}

/// What the program writes on a terminal. The replies are given one after the other.
std::string textOnTerminal(std::vector<std::string> arguments, std::vector<Reply> replies = {}) {
  winsize size{};
  size.ws_row = 24;
  size.ws_col = kColumns;
  int end = -1;
  arguments.insert(arguments.begin(), MTLPUBLISH);
  std::vector<char*> pointers;
  pointers.reserve(arguments.size() + 1);
  for (std::string& argument : arguments)
    pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  const pid_t child = forkpty(&end, nullptr, nullptr, &size);
  if (child == 0) {
    setenv("TERM", "xterm", 1);
    setenv("no_proxy", "*", 1);
    execv(MTLPUBLISH, pointers.data());
    _exit(127);
  }
  std::string text;
  std::array<char, 4096> buffer;
  for (ssize_t count = 0; (count = read(end, buffer.data(), buffer.size())) > 0;) {
    text.append(buffer.data(), static_cast<std::size_t>(count));
    if (replies.empty() || !isAtEndOf(text, replies.front().prompt)) continue;
    const std::string typed = replies.front().typed;
    EXPECT_EQ(write(end, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
    replies.erase(replies.begin());
  }
  close(end);
  waitpid(child, nullptr, 0);
  return text;
}

class OnTerminal : public testing::Test {
 protected:
  OnTerminal() {
    writeFile(dir_ / ("maps/" + std::string(100, 'x')), "12345");
    EXPECT_EQ(runProcess({MTLPUBLISH, "build", dir_ / ""}).exitCode, 0);
    // Slow enough for the line to be seen.
    server_ = std::make_unique<ChildProcess>(
        std::vector<std::string>{MTLPUBLISH, "serve", "-q", "--delay", "1000", dir_ / ""});
    const std::string line = server_->readLine();
    url_ = line.substr(line.find("http://"));
  }

  TempDir dir_;
  std::unique_ptr<ChildProcess> server_;
  std::string url_;
};

TEST_F(OnTerminal, ProgressIsALineThatFitsAndGoes) {
  const std::string text = textOnTerminal({"verify", url_});
  const std::string drawn = "\r\x1b[K0 of 1 file, 0 bytes of 5 bytes  map...";
  EXPECT_THAT(text, AllOf(StartsWith(drawn), EndsWith("\r\x1b[K1 file, 5 bytes, as listed\r\n")));
  EXPECT_EQ(drawn.size() - 4, kColumns - 1) << "the last column stays free";
}

TEST_F(OnTerminal, PasswordsAreAskedForAndNotShown) {
  const std::string name = dir_ / "new";
  const std::string first = "Password of the new key: ";
  const std::string second = "The same again: ";
  EXPECT_EQ(textOnTerminal({"keygen", name}, {{first, "word\n"}, {second, "other\n"}}),
            first + "\r\n" + second + "\r\nmtlpublish: the passwords are not the same\r\n");
  EXPECT_EQ(textOnTerminal({"keygen", name}, {{first, "\n"}}),
            first +
                "\r\nmtlpublish: the password is empty; --no-password makes a key without "
                "one\r\n");
  EXPECT_FALSE(std::filesystem::exists(name + ".key"));
  const auto key = mtlsigning::SecretKey::generate();
  // The least that scrypt can do.
  writeFile(name + ".key", mtlsigning::SecretKeyFile::text(*key, "word", {32768, 16777216}));
  writeFile(dir_ / "library/a", "1");
  const std::string prompt = "Password of " + name + ".key: ";
  const std::vector<std::string> build{"build",  "-q",  "--sign",        name + ".key",
                                       "--name", "oak", dir_ / "library"};
  EXPECT_EQ(textOnTerminal(build, {{prompt, "other\n"}}),
            prompt + "\r\nmtlpublish: " + name + ".key: the password is wrong\r\n");
  EXPECT_EQ(textOnTerminal(build, {{prompt, "word\n"}}), prompt + "\r\n");
  EXPECT_TRUE(mtlsigning::looksSigned(readFile(dir_ / "library/id.txt")));
}

TEST_F(OnTerminal, InterruptsEndTheQuestionForAPassword) {
  const std::string prompt = "Password of the new key: ";
  EXPECT_EQ(textOnTerminal({"keygen", dir_ / "new"}, {{prompt, "wor\x03"}}), prompt);
  EXPECT_FALSE(std::filesystem::exists(dir_ / "new.key"));
}

TEST_F(OnTerminal, QuietShowsNoProgress) {
  EXPECT_EQ(textOnTerminal({"verify", "--quiet", url_}), "");
}

TEST_F(OnTerminal, NothingIsDrawnElsewhere) {
  const ProcessResult result = runProcess({MTLPUBLISH, "verify", url_}, {{"no_proxy", "*"}});
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out, "1 file, 5 bytes, as listed\n");
}

}  // namespace
