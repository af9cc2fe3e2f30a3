// Tests that what is printed with --json is what docs/json.md says, event by event and field by
// field.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>

#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "support/child_process.h"
#include "support/no_access.h"
#include "support/published_library.h"
#include "support/scripted_server.h"
#include "support/temp_dir.h"
#include "update/lock.h"
#include "update/system.h"

namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::Key;

using Fields = std::set<std::string>;

Json::Value parsed(const std::string& line) {
  std::istringstream input(line);
  Json::Value value;
  std::string problem;
  EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), input, &value, &problem)) << line;
  return value;
}

Fields fieldsOf(const Json::Value& object) {
  Fields fields;
  for (const std::string& name : object.getMemberNames())
    fields.insert(name);
  return fields;
}

/// The words in `text` that stand in backticks.
std::vector<std::string> quotedWords(const std::string& text) {
  static const std::regex kQuoted("`([A-Za-z]+)`");
  std::vector<std::string> words;
  for (std::sregex_iterator match(text.begin(), text.end(), kQuoted), end; match != end; ++match)
    words.push_back((*match)[1]);
  return words;
}

/// What the document says.
struct Document {
  std::map<std::string, Fields> events;         ///< The fields of each, with "event".
  std::map<std::string, Json::Value> examples;  ///< One of each.
  Fields kinds;
  std::map<std::string, std::string> exitStatuses;  ///< Of each status of a result.

  Document() {
    std::istringstream lines(readFile(MTLSYNC_JSON_DOCUMENT));
    std::string heading;
    for (std::string line; std::getline(lines, line);) {
      if (line.rfind('{', 0) == 0) {
        const Json::Value example = parsed(line);
        EXPECT_TRUE(examples.emplace(example["event"].asString(), example).second) << line;
      } else if (line.rfind("| `", 0) == 0 && line.find(" of a ") == std::string::npos) {
        readRow(heading, line);
      } else if (line.rfind("| ", 0) == 0) {
        heading = line;
      }
    }
  }

 private:
  void readRow(const std::string& heading, const std::string& line) {
    std::vector<std::string> cells;
    std::istringstream row(line.substr(1));
    for (std::string cell; std::getline(row, cell, '|');)
      cells.push_back(cell);
    const std::string name = quotedWords(cells[0])[0];
    if (heading.rfind("| Event", 0) == 0) {
      for (const std::string& field : quotedWords(cells[1]))
        events[name].insert(field);
      events[name].insert("event");
    } else if (heading.rfind("| `kind`", 0) == 0) {
      kinds.insert(name);
    } else if (heading.rfind("| `status`", 0) == 0) {
      exitStatuses[name] = cells[2].substr(1, cells[2].find_last_not_of(' '));
    }
  }
};

/// Everything that the program can print, from runs with the fake plug-in and the real one.
class Output {
 public:
  Output() {
    for (const char* situation : {"everything", "ok", "up-to-date"})
      run({"--module", MTLSYNC_FAKE_MODULE, situation, "dir"});
    run({"--module", MTLSYNC_FAKE_MODULE, "--check", "ok", "dir"});
    interruptARun();
    runTheEngine();
  }

  std::vector<Json::Value> events;
  Fields kinds;
  std::map<std::string, std::string> exitStatuses;

 private:
  void run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {MTLSYNC, "--json"});
    read(runProcess(arguments));
  }

  void read(const ProcessResult& result) {
    std::istringstream lines(result.out);
    for (std::string line; std::getline(lines, line);) {
      events.push_back(parsed(line));
      const Json::Value& event = events.back();
      if (event["event"] == "difference") kinds.insert(event["kind"].asString());
      if (event["event"] != "result") continue;
      exitStatuses[event["status"].asString()] = std::to_string(result.exitCode);
    }
  }

  void interruptARun() {
    ChildProcess program({MTLSYNC, "--json", "--module", MTLSYNC_FAKE_MODULE, "stall", "dir"});
    std::string line = program.readLine();
    while (!line.empty() && line.find("Waiting") == std::string::npos)
      line = program.readLine();
    program.interrupt();
    read(program.wait());
  }

  void runTheEngine() {
    const TempDir dir;
    ScriptedServer server;
    PublishedLibrary library(server, "/lib");
    const auto run = [&](const std::string& option) {
      this->run({"--no-proxy", option, library.address(), dir / "copy"});
    };
    library.publish("one", {{"changed", "abc"},
                            {"content", "abc"},
                            {"missing", "abc"},
                            {"size", "abc"},
                            {"unreadable", "abc"}});
    std::string list = library.list();
    list.insert(list.find("\"path\":\"changed\""), "\"download\":\"missing\",");
    server.serve("/lib/filelist.json", list);
    run("--dry-run");
    {
      mtlupdate::Folder folder;
      ASSERT_FALSE(folder.open(dir / "copy", true));
      mtlupdate::Lock lock;
      ASSERT_FALSE(lock.take(folder));
      ChildProcess program(
          {MTLSYNC, "--json", "--no-proxy", "--wait", library.address(), dir / "copy"});
      std::string line = program.readLine();
      while (!line.empty() && line.find("\"waiting\"") == std::string::npos)
        line = program.readLine();
      events.push_back(parsed(line));
      program.interrupt();
      read(program.wait());
    }
    run("--full");
    run("--verify");
    writeFile(dir / "copy/changed", "x");
    writeFile(dir / "copy/content", "xyz");
    writeFile(dir / "copy/size", "x");
    writeFile(dir / "copy/extra", "x");
    fs::remove(fs::u8path(dir / "copy/missing"));
    {
      const NoAccess closed({fs::u8path(dir / "copy/unreadable")});
      run("--verify");
    }
    this->run({"--status", dir / "copy"});
  }
};

TEST(JsonDocument, HasAnExampleOfEachEvent) {
  const Document document;
  for (const auto& [name, fields] : document.events) {
    ASSERT_THAT(document.examples, Contains(Key(name)));
    EXPECT_EQ(fieldsOf(document.examples.at(name)), fields) << name;
  }
  EXPECT_EQ(document.examples.size(), document.events.size());
}

TEST(JsonDocument, TellsEveryEventWithItsFields) {
  const Document document;
  Fields seen;
  const Output output;
  for (const Json::Value& event : output.events) {
    const std::string name = event["event"].asString();
    seen.insert(name);
    ASSERT_THAT(document.events, Contains(Key(name)));
    EXPECT_EQ(fieldsOf(event), document.events.at(name)) << name;
    const Json::Value& example = document.examples.at(name);
    for (const std::string& field : fieldsOf(event))
      EXPECT_EQ(event[field].type(), example[field].type()) << name << ": " << field;
    for (const Json::Value& entry : event["chain"])
      EXPECT_EQ(fieldsOf(entry), fieldsOf(example["chain"][0]));
  }
  for (const auto& [name, fields] : document.events)
    EXPECT_THAT(seen, Contains(name));
  EXPECT_EQ(output.kinds, document.kinds);
  EXPECT_EQ(output.exitStatuses, document.exitStatuses);
}

}  // namespace
