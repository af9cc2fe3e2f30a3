// Tests signals that whoever started the program had it ignore, as shells do for a job in the
// background: Windows has none.
#include <gtest/gtest.h>

#include "support/signal_masks.h"

namespace {

class IgnoredSignals : public testing::Test {
 protected:
  /// Starts the program in such a way, up to where the library waits.
  void start(const std::string& signals, const std::string& situation) {
    // The one before has to have ended: both have the same folder, where one at a time may run.
    program_.reset();
    program_ = std::make_unique<ChildProcess>(
        ignoring(signals, {MTLSYNC, "--module", MTLSYNC_FAKE_MODULE, "--json", situation, "dir"}));
    process_ = program_->readLine();
    await("Waiting");
  }

  void await(const std::string& text) const {
    std::string line;
    do {
      line = program_->readLine();
    } while (!line.empty() && line.find(text) == std::string::npos);
    ASSERT_FALSE(line.empty()) << "no " << text << ": " << program_->wait().err;
  }

  std::unique_ptr<ChildProcess> program_;
  std::string process_;
};

TEST_F(IgnoredSignals, StayIgnored) {
  start("INT TERM HUP", "stall");
  const SignalMasks masks(process_);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    EXPECT_TRUE(masks.ignores(signal)) << signal;
    EXPECT_FALSE(masks.catches(signal)) << signal;
  }
}

TEST_F(IgnoredSignals, AreNoOthers) {
  start("INT", "stall");
  EXPECT_TRUE(SignalMasks(process_).ignores(SIGINT));
  EXPECT_TRUE(SignalMasks(process_).catches(SIGTERM));
  start("", "stall");
  EXPECT_TRUE(SignalMasks(process_).catches(SIGINT));
  EXPECT_TRUE(SignalMasks(process_).catches(SIGTERM));
}

TEST_F(IgnoredSignals, StayIgnoredWhileTheProgramEnds) {
  start("INT", "stubborn");
  program_->ask({SIGTERM, 0});
  await("Told to stop");
  EXPECT_TRUE(SignalMasks(process_).ignores(SIGINT));
  EXPECT_FALSE(SignalMasks(process_).catches(SIGTERM)) << "a second one ends it at once";
}

}  // namespace
