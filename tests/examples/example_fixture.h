// An Example is a test fixture that runs an example against a small library.
#ifndef MTLLIB_TESTS_EXAMPLES_EXAMPLE_FIXTURE_H_
#define MTLLIB_TESTS_EXAMPLES_EXAMPLE_FIXTURE_H_

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/child_process.h"
#include "support/scripted_server.h"
#include "support/temp_dir.h"

class Example : public testing::Test {
 protected:
  Example() {
    server_.serve("/lib/id.txt", "v1");
    server_.serve("/lib/filelist.json", R"([{"path":"maps/oak.tx","size":2000000}])"
                                        "\n");
    server_.serve("/lib/maps/oak.tx", std::string(2000000, 'x'));
  }

  /// The command that runs an example.
  std::vector<std::string> command(const std::string& name,
                                   const std::string& module = MTLLIB_MODULE) const {
    return {EXAMPLES + name, module, server_.address() + "/lib", directory_ / "target"};
  }

  /// The same for one that uses the engine: with its arguments.
  static std::vector<std::string> engineCommand(const std::string& name,
                                                std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), EXAMPLES + name);
    return arguments;
  }

  /// Runs it to its end, and returns what it printed, with line breaks of one byte.
  static std::string finish(ChildProcess& host, int exitCode) {
    const ProcessResult result = host.wait();
    EXPECT_EQ(result.exitCode, exitCode) << result.err;
    std::string text = result.out;
    for (std::size_t at; (at = text.find('\r')) != text.npos;)
      text.erase(at, 1);
    return text;
  }

  std::string run(const std::vector<std::string>& command, int exitCode) const {
    ChildProcess host(command);
    return finish(host, exitCode);
  }

  void expectCopy() const {
    EXPECT_EQ(readFile(directory_ / "target/id.txt"), "v1");
    EXPECT_EQ(readFile(directory_ / "target/maps/oak.tx"), std::string(2000000, 'x'));
  }

  /// Lists a name that would give a terminal commands and forge lines.
  void serveHostileName() { server_.serve("/lib/filelist.json", kHostileList); }

  /// Both report it in the same words, apart from what one escapes and the other replaces.
  static void expectHarmless(const std::string& out) {
    EXPECT_NE(out.find("Path leaves the target directory: \"../\\x1B[2J"), out.npos) << out;
    for (const char* bytes : {"\x1B", "\u009B", "\u202E", "\nforged"})
      EXPECT_EQ(out.find(bytes), out.npos) << out;
  }

  void expectNoStamp() const { EXPECT_EQ(readTree(directory_ / "target").count("id.txt"), 0U); }

  static constexpr const char* kHostileList =
      "[{\"path\":\"../\\u001b[2J\\u009b2J\\u202e\\nforged\"}]\n";

  TempDir directory_;
  ScriptedServer server_;
};

#endif  // MTLLIB_TESTS_EXAMPLES_EXAMPLE_FIXTURE_H_
