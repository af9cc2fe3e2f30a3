// Tests the lines of JSON.
#include "mtlsync/json_events.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <sstream>

namespace mtlsync {
namespace {

class JsonEventsTest : public testing::Test {
 protected:
  std::string written() {
    std::string text = stream_.str();
    stream_.str("");
    return text;
  }

  /// What a strict reader makes of the one line that was written.
  Json::Value read() {
    const std::string line = written();
    EXPECT_EQ(line.find('\n'), line.size() - 1);
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    Json::Value value;
    std::string problem;
    std::istringstream input(line);
    EXPECT_TRUE(Json::parseFromStream(builder, input, &value, &problem)) << problem;
    return value;
  }

  std::ostringstream stream_;
  JsonEvents events_{stream_};
};

// ESC, and CSI in one character; a mark that turns the text around; a separator of lines.
constexpr const char* kHostile = "\x1B[2J\u009B2J\u202Etxt\u2028";

TEST_F(JsonEventsTest, GivesATerminalNoCommandsAndProgramsTheWholeText) {
  const std::string escaped = R"(\u001b[2J\u009b2J\u202etxt\u2028)";
  const auto expectEscaped = [&](std::size_t times) {
    const std::string line = written();
    std::size_t count = 0;
    for (std::size_t at = 0; (at = line.find(escaped, at)) != line.npos; ++at)
      ++count;
    EXPECT_EQ(count, times) << line;
    EXPECT_EQ(line.find_first_of("\x1B\xC2\xE2"), line.npos) << line;
  };
  events_.text("warning", kHostile);
  expectEscaped(1);
  events_.taggedError(kHostile, 1, kHostile);
  expectEscaped(2);
  mtlhost::Progress progress;
  progress.text = kHostile;
  events_.progress(progress);
  expectEscaped(1);
  events_.difference(kHostile, "missing", kHostile);
  expectEscaped(2);
  events_.status(kHostile, "", 0, 0, false, {});
  expectEscaped(1);
  events_.error({{kHostile, 1, kHostile}});
  expectEscaped(2);
  events_.progress(progress);
  EXPECT_EQ(read()["text"], kHostile);
}

TEST_F(JsonEventsTest, WritesAnObjectALine) {
  events_.simple("beginProgress");
  EXPECT_EQ(written(), "{\"event\":\"beginProgress\"}\n");
  events_.number("progressValue", 450);
  EXPECT_EQ(written(), "{\"event\":\"progressValue\",\"value\":450}\n");
  events_.text("stage", "Saving");
  EXPECT_EQ(written(), "{\"event\":\"stage\",\"text\":\"Saving\"}\n");
  events_.taggedError("A::b", -1, "went wrong");
  EXPECT_EQ(written(),
            "{\"code\":-1,\"event\":\"taggedError\",\"tag\":\"A::b\",\"text\":\"went wrong\"}\n");
  events_.progress({"Downloading files", 163, 3, 19, 3104064, 19004064, 9200000.5, 1.75});
  EXPECT_EQ(written(),
            "{\"bytesDone\":3104064,\"bytesPerSecond\":9200000,\"bytesTotal\":19004064,"
            "\"event\":\"progress\",\"permille\":163,\"secondsLeft\":1,"
            "\"text\":\"Downloading files\"}\n");
  events_.difference("maps/a.tx", "missing", "is missing");
  EXPECT_EQ(written(),
            "{\"event\":\"difference\",\"kind\":\"missing\",\"path\":\"maps/a.tx\","
            "\"text\":\"is missing\"}\n");
  mtlhost::CopySignature signature;
  signature.kind = mtlhost::CopySignature::Kind::kGood;
  signature.needsKeys = true;
  signature.libraryName = "oak";
  signature.serial = 7;
  signature.published = 1767225600;
  signature.keyId = "ABDF899AEF2B661F";
  events_.status("v7", "2026-03-01T13:05:09Z", 73, 19000000000, false, signature);
  EXPECT_EQ(written(),
            "{\"bytes\":19000000000,\"event\":\"status\",\"files\":73,"
            "\"signature\":{\"expires\":\"\",\"keyId\":\"ABDF899AEF2B661F\",\"kind\":\"good\","
            "\"library\":\"oak\",\"needsKeys\":true,\"problem\":\"\","
            "\"published\":\"2026-01-01T00:00:00Z\",\"serial\":7},"
            "\"since\":\"2026-03-01T13:05:09Z\",\"stamp\":\"v7\",\"unfinished\":false}\n");
  mtlhost::Errors chain{{"A::b", -1, "newest"}, {"", 5, ""}};
  chain.front().kind = mtlhost::ErrorKind::kAnswer;
  chain.front().about = "http://a/id.txt";
  chain.front().sentence = "It failed.";
  chain.front().hint = "Go.";
  events_.error(chain);
  EXPECT_EQ(written(),
            "{\"about\":\"http://a/id.txt\",\"chain\":[{\"code\":-1,\"message\":\"newest\","
            "\"tag\":\"A::b\"},{\"code\":5,\"message\":\"\",\"tag\":\"\"}],\"event\":"
            "\"error\",\"hint\":\"Go.\",\"kind\":\"answer\",\"sentence\":\"It failed.\"}\n");
  events_.file({mtlhost::FileChange::Kind::kFetched, "maps/a.tx", 5});
  EXPECT_EQ(written(),
            "{\"bytes\":5,\"event\":\"file\",\"kind\":\"fetched\",\"path\":\"maps/a.tx\","
            "\"source\":\"\",\"text\":\"\"}\n");
  events_.waiting(7);
  EXPECT_EQ(written(), "{\"event\":\"waiting\",\"process\":7}\n");
  events_.result(0, "updated", "", 73, 19000000000);
  EXPECT_EQ(written(),
            "{\"bytes\":19000000000,\"code\":0,\"event\":\"result\",\"failure\":\"\","
            "\"files\":73,\"status\":\"updated\"}\n");
}

TEST_F(JsonEventsTest, GivesTextsBackAsTheyWere) {
  std::string text;
  for (char byte = 1; byte < 127; ++byte)
    text += byte;
  text += "\x7F \xC3\xA4 \xE2\x82\xAC \xE2\x80\xA8 \xF0\x9F\x8E\xA8 end";
  events_.text("info", text);
  EXPECT_EQ(read()["text"].asString(), text);
}

TEST_F(JsonEventsTest, StaysValidWhateverTheBytes) {
  events_.text("info", "a\xFF\xC3(\xE2\x82 b\xED\xA0\x80 c\xC0\x80");
  EXPECT_EQ(read()["text"].asString(),
            "a\xEF\xBF\xBD\xEF\xBF\xBD(\xEF\xBF\xBD\xEF\xBF\xBD b\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF"
            "\xBD c\xEF\xBF\xBD\xEF\xBF\xBD");
  events_.error({{"\xFE", -1, "\xFF"}});
  EXPECT_EQ(read()["chain"][0]["message"].asString(), "\xEF\xBF\xBD");
  events_.difference("\xFF", "missing", "");
  EXPECT_EQ(read()["path"].asString(), "\xEF\xBF\xBD");
  events_.status("\xFF", "", 0, 0, false, {});
  EXPECT_EQ(read()["stamp"].asString(), "\xEF\xBF\xBD");
  events_.progress({"\xFF"});
  EXPECT_EQ(read()["text"].asString(), "\xEF\xBF\xBD");
  events_.taggedError("\xFE", -1, "\xFF");
  EXPECT_EQ(read()["tag"].asString(), "\xEF\xBF\xBD");
}

}  // namespace
}  // namespace mtlsync
