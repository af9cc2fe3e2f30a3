// Tests what is taken for an answer and what is not, wherever the bytes are cut into pieces.
#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

#include "answer_reading.h"

namespace {

using namespace Krell::Networking;  // NOLINT: the constants under test
using namespace std::string_literals;
using Result = Answer::Result;

const std::string kOk = "HTTP/1.1 200 OK\r\n";
const std::string kChunked = kOk + "Transfer-Encoding: chunked\r\n\r\n";

std::string repeated(std::string_view piece, int count) {
  std::string text;
  for (int i = 0; i < count; ++i)
    text += piece;
  return text;
}

/// Reads `text` at once, and makes sure that it is the same in two pieces, cut anywhere, and
/// byte by byte.
Outcome read(std::string_view text, const Reading& reading = {}) {
  const Outcome whole = readInPieces(text, reading, text.size(), 1);
  EXPECT_EQ(readInPieces(text, reading, 1, 1), whole) << "byte by byte";
  const std::size_t step = text.size() > 4096 ? text.size() / 16 + 1 : 1;
  for (std::size_t cut = 1; cut < text.size(); cut += step)
    EXPECT_EQ(readInPieces(text, reading, cut, text.size()), whole) << "cut at " << cut;
  return whole;
}

HttpRule ruleBrokenBy(std::string_view text) {
  const Outcome outcome = read(text);
  EXPECT_EQ(outcome.result, Result::kBroken) << text.substr(0, 200);
  return outcome.rule;
}

std::string bodyOf(std::string_view text) {
  const Outcome outcome = read(text);
  EXPECT_EQ(outcome.result, Result::kComplete) << text.substr(0, 200);
  EXPECT_EQ(outcome.status, 200);
  return outcome.body;
}

TEST(AnswerTest, HasTheBodyThatItsLengthAnnounces) {
  const Outcome outcome = read(kOk + "Content-Length: 7\r\n\r\ncontent");
  EXPECT_EQ(outcome.result, Result::kComplete);
  EXPECT_EQ(outcome.status, 200);
  EXPECT_EQ(outcome.body, "content");
  EXPECT_EQ(outcome.unread, 0U);
  EXPECT_TRUE(outcome.kept);
}

TEST(AnswerTest, HasTheBodyThatItsChunksHold) {
  const Outcome outcome = read(kChunked + "3\r\ncon\r\n04\r\ntent\r\n0\r\n\r\n");
  EXPECT_EQ(outcome.result, Result::kComplete);
  EXPECT_EQ(outcome.body, "content");
  EXPECT_TRUE(outcome.kept);
}

TEST(AnswerTest, HasTheBodyThatTheConnectionEnds) {
  const Outcome outcome = read(kOk + "\r\ncontent");
  EXPECT_EQ(outcome.result, Result::kComplete);
  EXPECT_EQ(outcome.body, "content");
  EXPECT_FALSE(outcome.kept);
}

TEST(AnswerTest, IsTruncatedWhenTheConnectionIsCut) {
  Reading cut;
  cut.wholly = false;
  EXPECT_EQ(read(kOk + "\r\ncontent", cut).result, Result::kTruncated);
  EXPECT_EQ(read(kOk + "Content-Length: 7\r\n\r\nconten").result, Result::kTruncated);
  EXPECT_EQ(read(kChunked + "7\r\ncontent\r\n").result, Result::kTruncated);
  EXPECT_EQ(read(kChunked + "7\r\ncontent\r\n0\r\n").result, Result::kTruncated);
  EXPECT_EQ(read(kOk + "Content-Le").result, Result::kTruncated);
  EXPECT_EQ(read("HTTP/1.1 100 Continue\r\n\r\n").result, Result::kTruncated);
}

TEST(AnswerTest, IsNothingBeforeTheEndOfItsStatusLine) {
  EXPECT_EQ(read("").result, Result::kNothing);
  EXPECT_EQ(read("HTTP/1.1 200 O").result, Result::kNothing);
}

TEST(AnswerTest, EndsWhereItsLengthSays) {
  const Outcome outcome = read(kOk + "Content-Length: 3\r\n\r\ncontent");
  EXPECT_EQ(outcome.result, Result::kComplete);
  EXPECT_EQ(outcome.body, "con");
  EXPECT_EQ(outcome.unread, 4U);
}

TEST(AnswerTest, EndsWithItsTrailers) {
  const Outcome outcome =
      read(kChunked + "7\r\ncontent\r\n0\r\nDigest: abc\r\nX:\r\n folded\r\n\r\nmore");
  EXPECT_EQ(outcome.result, Result::kComplete);
  EXPECT_EQ(outcome.body, "content");
  EXPECT_EQ(outcome.unread, 4U);
}

TEST(AnswerTest, TakesNoLengthFromTrailers) {
  EXPECT_EQ(
      bodyOf(kChunked + "1\r\nx\r\n0\r\nContent-Length: 9\r\nTransfer-Encoding: gzip\r\n\r\n"),
      "x");
}

TEST(AnswerTest, HasNoBodyAfterSomeStatuses) {
  for (const int status : {204, 304}) {
    const std::string line = "HTTP/1.1 " + std::to_string(status) + " None\r\n";
    for (const char* fields : {"", "Content-Length: 7\r\n", "Transfer-Encoding: chunked\r\n"}) {
      const Outcome outcome = read(line + fields + "\r\nmore");
      EXPECT_EQ(outcome.result, Result::kComplete);
      EXPECT_EQ(outcome.status, status);
      EXPECT_EQ(outcome.body, "");
      EXPECT_EQ(outcome.unread, 4U);
    }
  }
}

TEST(AnswerTest, HasNoBodyToHead) {
  Reading head;
  head.toHead = true;
  for (const char* fields : {"", "Content-Length: 7\r\n", "Transfer-Encoding: chunked\r\n"}) {
    const Outcome outcome = read(kOk + fields + "\r\n", head);
    EXPECT_EQ(outcome.result, Result::kComplete);
    EXPECT_EQ(outcome.status, 200);
    EXPECT_TRUE(outcome.kept);
  }
}

TEST(AnswerTest, FollowsInterimAnswers) {
  EXPECT_EQ(bodyOf("HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Early Hints\r\nLink: x\r\n"
                   "Content-Length: 9\r\n\r\n" +
                   kOk + "Content-Length: 7\r\n\r\ncontent"),
            "content");
  EXPECT_EQ(
      bodyOf(repeated("HTTP/1.1 100 Continue\r\n\r\n", 32) + kOk + "Content-Length: 1\r\n\r\nx"),
      "x");
}

TEST(AnswerTest, FollowsNoMoreInterimAnswersThan32) {
  EXPECT_EQ(ruleBrokenBy(repeated("HTTP/1.1 102 Processing\r\n\r\n", 33)),
            HTTP_RULE_INTERIM_ANSWERS);
}

TEST(AnswerTest, KeepsAConnectionThatBothWantKept) {
  const std::string body = "Content-Length: 1\r\n\r\nx";
  EXPECT_TRUE(read(kOk + body).kept);
  EXPECT_FALSE(read(kOk + "Connection: close\r\n" + body).kept);
  EXPECT_FALSE(read(kOk + "connection: X-Field, CLOSE\r\n" + body).kept);
  EXPECT_FALSE(read("HTTP/1.0 200 OK\r\n" + body).kept);
  EXPECT_TRUE(read("HTTP/1.0 200 OK\r\nConnection: keep-alive\r\n" + body).kept);
  EXPECT_FALSE(read("HTTP/1.0 200 OK\r\nConnection: keep-alive\r\nTransfer-Encoding: chunked\r\n"
                    "\r\n1\r\nx\r\n0\r\n\r\n")
                   .kept);
}

TEST(AnswerTest, MayHaveAnyReasonOrNone) {
  for (const std::string& line :
       {"HTTP/1.1 200\r\n"s, "HTTP/1.1 200 \r\n"s, "HTTP/1.0 200 a b\tc\r\n"s,
        "HTTP/1.1 200 \xFF\x01 \x7F\r\n"s, "HTTP/1.7 200 OK\n"s}) {
    EXPECT_EQ(bodyOf(line + "Content-Length: 1\r\n\r\nx"), "x");
  }
}

TEST(AnswerTest, MayEndItsLinesWithABareLf) {
  EXPECT_EQ(bodyOf("HTTP/1.1 200 OK\nX: y\nEmpty:\nContent-Length: 7\n\ncontent"), "content");
  EXPECT_EQ(bodyOf("HTTP/1.1 200 OK\nTransfer-Encoding: chunked\n\n"
                   "3\ncon\n4;x=y\ntent\n0\nTrailer: x\n\n"),
            "content");
}

TEST(AnswerTest, MayFoldItsLines) {
  EXPECT_EQ(bodyOf(kOk + "X: y\r\n z\r\n\tz\r\nContent-Length:\r\n 7\r\n\r\ncontent"), "content");
}

TEST(AnswerTest, GivesItsFieldsToWhoeverWantsThem) {
  const std::string value(1023, 'v');
  const std::string name(31, 'n');
  EXPECT_EQ(read("HTTP/1.1 103 Early Hints\r\nLink: early\r\n\r\n"
                 "HTTP/1.1 206 Partial Content\r\nETag:  \"aB\" \r\nX-Empty:\r\n"
                 "Retry-After: 120\r\nTransfer-Encoding: Chunked\r\nLong: " +
                 value + "\r\nLonger: " + value + "v\r\n" + name + ": 1\r\n" + name +
                 "n: 2\r\n\r\n0\r\nTrailer: late\r\n\r\n")
                .fields,
            "etag=\"aB\"\nx-empty=\nretry-after=120\ntransfer-encoding=Chunked\nlong=" + value +
                "\n" + name + "=1\n");
}

TEST(AnswerTest, IsTakenAsItIsCoded) {
  EXPECT_EQ(bodyOf(kOk + "Content-Encoding: gzip\r\nContent-Length: 3\r\n\r\nabc"), "abc");
}

TEST(AnswerTest, MayRepeatItsLength) {
  EXPECT_EQ(bodyOf(kOk + "Content-Length: 7\r\nX: y\r\nContent-Length: 7\r\n\r\ncontent"),
            "content");
}

TEST(AnswerTest, BeginsWithAStatusLineOfHttp1) {
  for (const std::string& begin : {"HTTP/2 200\r\n"s,
                                   "HTTP/2.0 200 OK\r\n"s,
                                   "HTTP/0.9 200 OK\r\n"s,
                                   "http/1.1 200 OK\r\n"s,
                                   "HTTP/1.10 200 OK\r\n"s,
                                   "HTTP/1.x 200 OK\r\n"s,
                                   "HTTP/1.1  200 OK\r\n"s,
                                   "HTTP/1.1\t200 OK\r\n"s,
                                   "HTTP/1.1 20 OK\r\n"s,
                                   "HTTP/1.1 2000 OK\r\n"s,
                                   "HTTP/1.1 099 OK\r\n"s,
                                   "HTTP/1.1 -20 OK\r\n"s,
                                   "HTTP/1.1 200OK\r\n"s,
                                   "HTTP/1.1\r\n"s,
                                   "\r\nHTTP/1.1 200 OK\r\n"s,
                                   " HTTP/1.1 200 OK\r\n"s,
                                   "\nHTTP/1.1 200 OK\r\n"s,
                                   "220 ready\r\n"s,
                                   "content"s,
                                   "\0"s,
                                   "ICY 200 OK\r\n"s,
                                   "RTSP/1.0 200 OK\r\n"s}) {
    EXPECT_EQ(ruleBrokenBy(begin + "Content-Length: 1\r\n\r\nx"), HTTP_RULE_STATUS_LINE);
  }
  EXPECT_EQ(ruleBrokenBy("HTTP/1.1 100 Continue\r\n\r\n\r\n" + kOk), HTTP_RULE_STATUS_LINE);
}

TEST(AnswerTest, HoldsNoZeroByteAndNoBareCrInItsHeader) {
  for (const std::string& header :
       {"HTTP/1.1 200 O\0K\r\n\r\n"s, "HTTP/1.1 200 O\rK\r\n\r\n"s, "HTTP/1.1 200\rX\r\n\r\n"s,
        kOk + "X: \0\r\n\r\n"s, kOk + "X: a\rb\r\n\r\n", kOk + "X: a\r\rb\r\n\r\n",
        kOk + "X:\r\r\n\r\n", kOk + "\rx\r\n\r\n", kOk + "X: y\r\n\rX: y\r\n\r\n",
        kOk + "X: a\r\n \0\r\n\r\n"s, kOk + "X: y\r\n\r\r\n\r\n"}) {
    EXPECT_EQ(ruleBrokenBy(header), HTTP_RULE_FORBIDDEN_BYTE) << header;
  }
  for (const std::string& trailer : {"X: \0\r\n\r\n"s, "X: a\rb\r\n\r\n"s, "\rx\r\n\r\n"s}) {
    EXPECT_EQ(ruleBrokenBy(kChunked + "0\r\n" + trailer), HTTP_RULE_FORBIDDEN_BYTE);
  }
}

TEST(AnswerTest, HasFieldsInItsHeader) {
  for (const char* line :
       {"no field\r\n", " first: folded\r\n", "\tfirst: folded\r\n", "(x): y\r\n", "<html>\r\n"}) {
    EXPECT_EQ(ruleBrokenBy(kOk + line + "Content-Length: 1\r\n\r\nx"), HTTP_RULE_FIELD) << line;
    EXPECT_EQ(ruleBrokenBy(kChunked + "0\r\n" + line + "\r\n"), HTTP_RULE_FIELD) << line;
  }
}

TEST(AnswerTest, HasALengthThatIsAPlainNumber) {
  for (const char* length :
       {"", " ", "-7", "+7", "7.0", "0x7", "7 7", "7,7", "7, 7", "seven", "7;", "\"7\"",
        "9223372036854775808", "18446744073709551616", "99999999999999999999", "1\r\n 2",
        "000000000000000000000000000000000000000000000000000000000000000000007"}) {
    const std::string field = "Content-Length: "s + length + "\r\n";
    EXPECT_EQ(ruleBrokenBy(kOk + field + "\r\ncontent"), HTTP_RULE_LENGTH) << length;
  }
  EXPECT_EQ(read(kOk + "Content-Length: 9223372036854775807\r\n\r\nx").result, Result::kTruncated);
  EXPECT_EQ(bodyOf(kOk + "Content-Length: \t007 \r\n\r\ncontent"), "content");
}

TEST(AnswerTest, HasOneLength) {
  const std::string seven = "Content-Length: 7\r\n";
  EXPECT_EQ(ruleBrokenBy(kOk + seven + "content-length: 8\r\n\r\ncontent"), HTTP_RULE_LENGTH);
  EXPECT_EQ(ruleBrokenBy(kOk + seven + "Transfer-Encoding: chunked\r\n\r\n0\r\n\r\n"),
            HTTP_RULE_LENGTH);
  EXPECT_EQ(ruleBrokenBy(kOk + "Transfer-Encoding: chunked\r\n" + seven + "\r\n0\r\n\r\n"),
            HTTP_RULE_LENGTH);
}

TEST(AnswerTest, HasNoTransferCodingButChunked) {
  EXPECT_EQ(bodyOf(kOk + "transfer-encoding: \tCHUNKED \r\n\r\n0\r\n\r\n"), "");
  for (const char* coding :
       {"gzip", "gzip, chunked", "chunked, gzip", "chunked, chunked", "identity", "chunked;x=y",
        "xchunked", "chunkedx", "", ",chunked", "gzip, gzip, gzip", "chunked\r\n , gzip"}) {
    EXPECT_EQ(ruleBrokenBy(kOk + "Transfer-Encoding: " + coding + "\r\n\r\n0\r\n\r\n"),
              HTTP_RULE_CODING)
        << coding;
  }
  EXPECT_EQ(ruleBrokenBy(kOk + "Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n\r\n"),
            HTTP_RULE_CODING);
}

TEST(AnswerTest, HasChunksOfTheSizesThatTheyAnnounce) {
  for (const std::string& chunks :
       {"seven\r\ncontent\r\n"s, "\r\n"s, "-1\r\n"s, " 1\r\nx\r\n"s, "0x1\r\nx\r\n"s,
        "1 1\r\nx\r\n"s, "3\r\ncontent\r\n"s, "3\r\nconx\n"s, "3\r\ncon\rx"s,
        "8000000000000000\r\n"s, "FFFFFFFFFFFFFFFFFF\r\n"s, "1\rx"s, "1;a\rb\r\nx\r\n"s,
        "1;\0\r\nx\r\n"s, "1\0\r\n"s}) {
    EXPECT_EQ(ruleBrokenBy(kChunked + chunks + "0\r\n\r\n"), HTTP_RULE_CHUNK) << chunks;
  }
  EXPECT_EQ(read(kChunked + "7FFFFFFFFFFFFFFF\r\nx").result, Result::kTruncated);
}

TEST(AnswerTest, MayHaveExtensionsInItsChunks) {
  EXPECT_EQ(bodyOf(kChunked + "3;a\r\ncon\r\n4 ; b=\"c;d\" \r\ntent\r\n0;last\r\n\r\n"), "content");
}

TEST(AnswerTest, HasNoMoreExtensionsThan16KibiBytes) {
  // With its semicolon.
  const std::string extension = ";" + std::string(8191, 'x');
  const std::string chunk = "1" + extension + "\r\nx\r\n";
  EXPECT_EQ(bodyOf(kChunked + chunk + chunk + "0\r\n\r\n"), "xx");
  EXPECT_EQ(ruleBrokenBy(kChunked + chunk + chunk + "0;\r\n\r\n"), HTTP_RULE_CHUNK_EXTENSIONS);
  EXPECT_EQ(ruleBrokenBy(kChunked + "1" + std::string(16385, ' ')), HTTP_RULE_CHUNK_EXTENSIONS);
  EXPECT_EQ(ruleBrokenBy(kChunked + std::string(16401, '0')), HTTP_RULE_CHUNK_EXTENSIONS);
}

TEST(AnswerTest, HasAHeaderOf300KibiBytesAtMost) {
  constexpr std::size_t kMost = 300 * 1024;
  const std::string end = "Content-Length: 1\r\n\r\n";
  const auto header = [&](std::size_t size) {
    const std::string begin = kOk + "X: ";
    return begin + std::string(size - begin.size() - end.size() - 2, 'x') + "\r\n" + end;
  };
  EXPECT_EQ(bodyOf(header(kMost) + "x"), "x");
  EXPECT_EQ(ruleBrokenBy(header(kMost + 1) + "x"), HTTP_RULE_HEADER_SIZE);
  EXPECT_EQ(ruleBrokenBy(kOk + "X: " + std::string(kMost, 'x')), HTTP_RULE_HEADER_SIZE);
}

TEST(AnswerTest, CountsTrailersAndInterimAnswersWithItsHeader) {
  const std::string filler = "X: " + std::string(160 * 1024, 'x') + "\r\n";
  EXPECT_EQ(
      ruleBrokenBy(kOk + filler + "Transfer-Encoding: chunked\r\n\r\n0\r\n" + filler + "\r\n"),
      HTTP_RULE_HEADER_SIZE);
  EXPECT_EQ(ruleBrokenBy("HTTP/1.1 103 Hints\r\n" + filler + "\r\n" + kOk + filler + "\r\n"),
            HTTP_RULE_HEADER_SIZE);
}

TEST(AnswerTest, Has1000FieldsAtMost) {
  const std::string field = "X: y\r\n";
  EXPECT_EQ(bodyOf(kOk + repeated(field, 999) + "Content-Length: 1\r\n\r\nx"), "x");
  EXPECT_EQ(ruleBrokenBy(kOk + repeated(field, 1000) + "Content-Length: 1\r\n\r\nx"),
            HTTP_RULE_FIELD_COUNT);
  EXPECT_EQ(bodyOf(kChunked + "1\r\nx\r\n0\r\n" + repeated(field, 999) + "\r\n"), "x");
  EXPECT_EQ(ruleBrokenBy(kChunked + "0\r\n" + repeated(field, 1000)), HTTP_RULE_FIELD_COUNT);
}

TEST(AnswerTest, ChangesToNoOtherProtocol) {
  EXPECT_EQ(ruleBrokenBy("HTTP/1.1 101 Switching Protocols\r\nUpgrade: x\r\n"
                         "Connection: upgrade\r\n\r\nx"),
            HTTP_RULE_UPGRADE);
  EXPECT_EQ(bodyOf(kOk + "Upgrade: h2c\r\nConnection: Upgrade\r\nContent-Length: 1\r\n\r\nx"), "x");
}

TEST(AnswerTest, HasNoLongerBodyThanItsCallerAllows) {
  Reading seven;
  seven.mostBodyBytes = 7;
  for (const std::string& header : {kOk + "Content-Length: 7\r\n\r\n", kOk + "\r\n"}) {
    const Outcome outcome = read(header + "content", seven);
    EXPECT_EQ(outcome.result, Result::kComplete);
    EXPECT_EQ(outcome.body, "content");
  }
  const Outcome announced = read(kOk + "Content-Length: 8\r\n\r\ncontents", seven);
  EXPECT_EQ(announced.rule, HTTP_RULE_BODY_SIZE);
  EXPECT_EQ(announced.body, "");
  for (const std::string& longer :
       {kChunked + "8\r\ncontents\r\n0\r\n\r\n", kOk + "\r\ncontents"}) {
    const Outcome outcome = read(longer, seven);
    EXPECT_EQ(outcome.rule, HTTP_RULE_BODY_SIZE);
    EXPECT_EQ(outcome.body, "content");
  }
  Reading none;
  none.mostBodyBytes = 0;
  EXPECT_EQ(read(kOk + "Content-Length: 0\r\n\r\n", none).result, Result::kComplete);
  EXPECT_EQ(read(kChunked + "1\r\nx\r\n", none).rule, HTTP_RULE_BODY_SIZE);
}

}  // namespace
