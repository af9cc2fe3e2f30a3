// The bad answers, byte by byte.
#include <chrono>
#include <string_view>
#include <thread>

#include "fault.h"

namespace {

using namespace std::string_literals;
using Handler = ScriptedServer::Handler;

constexpr const char* kReceive = "Connection error: reason=6 extraF=0 underlying=52";
constexpr const char* kReset = "Connection error: reason=6 extraF=1000 underlying=";
constexpr const char* kTruncated = "Connection error: reason=7 extraF=0 underlying=18";
constexpr const char* kTimeout = "Connection error: reason=8 extraF=0 underlying=28";
// By the rule that the answer broke.
constexpr const char* kStatusLine = "Connection error: reason=10 extraF=2000 underlying=1";
constexpr const char* kForbiddenByte = "Connection error: reason=10 extraF=2000 underlying=2";
constexpr const char* kField = "Connection error: reason=10 extraF=2000 underlying=3";
constexpr const char* kLength = "Connection error: reason=10 extraF=2000 underlying=4";
constexpr const char* kCoding = "Connection error: reason=10 extraF=2000 underlying=5";
constexpr const char* kChunk = "Connection error: reason=10 extraF=2000 underlying=6";
constexpr const char* kUpgrade = "Connection error: reason=10 extraF=2000 underlying=7";
constexpr const char* kHeaderSize = "Connection error: reason=14 extraF=2000 underlying=8";
constexpr const char* kFieldCount = "Connection error: reason=14 extraF=2000 underlying=9";
constexpr const char* kExtensions = "Connection error: reason=14 extraF=2000 underlying=10";
constexpr const char* kInterimAnswers = "Connection error: reason=14 extraF=2000 underlying=11";

/// Sends the text, then closes.
Handler thenClose(std::string text) {
  return [text = std::move(text)](const ServerRequest&, Socket& socket) {
    socket.send(text);
    return false;
  };
}

/// Sends the text and expects further requests on the connection.
Handler thenWait(std::string text) {
  return
      [text = std::move(text)](const ServerRequest&, Socket& socket) { return socket.send(text); };
}

/// Sends the text, then resets the connection.
Handler thenReset(std::string text) {
  return [text = std::move(text)](const ServerRequest&, Socket& socket) {
    socket.send(text);
    // What is lost with the reset must not be the text.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    socket.resetOnClose();
    return false;
  };
}

/// Sends the text, then the piece again and again for as long as it is taken.
Handler thenForEver(std::string text, std::string piece, std::chrono::milliseconds pause = {}) {
  return [=](const ServerRequest&, Socket& socket) {
    bool taken = socket.send(text);
    while (taken) {
      std::this_thread::sleep_for(pause);
      taken = socket.send(piece);
    }
    return false;
  };
}

Handler status(int code, const std::string& fields = {}) {
  return thenWait("HTTP/1.1 " + std::to_string(code) + " Scripted\r\n" + fields +
                  "Content-Length: 0\r\n\r\n");
}

std::string repeated(std::string_view piece, int count) {
  std::string text;
  for (int i = 0; i < count; ++i)
    text += piece;
  return text;
}

const std::string kChunked = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
// "content", compressed.
const std::string kGzip =
    "\x1f\x8b\x08\0\0\0\0\0\0\x03\x4b\xce\xcf\x2b\x49\xcd\x2b\x01\0\xa9\x30\xc5\xfe\x07\0\0\0"s;

std::vector<Fault> connectionFaults() {
  return {
      {"ClosesBeforeTheHeader", "closes before the header", thenClose(""), kReceive},
      {"ClosesInsideTheStatusLine", "closes inside the status line", thenClose("HTTP/1.1 20"),
       kReceive},
      {"ClosesInsideTheHeader", "closes inside the header",
       thenClose("HTTP/1.1 200 OK\r\nContent-Le"), kTruncated},
      {"ClosesBeforeTheLastHeaderLine", "closes before the empty line that ends the header",
       thenClose("HTTP/1.1 200 OK\r\nContent-Length: 7\r\n"), kTruncated},
      {"ClosesInsideAHeaderAfterAnInterimAnswer", "closes inside the header after an interim one",
       thenClose("HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\nX: y\r\n"), kTruncated},
      {"ClosesAfterTheHeader", "closes after the header",
       thenClose("HTTP/1.1 200 OK\r\nContent-Length: 7\r\n\r\n"), kTruncated},
      {"ResetsBeforeTheHeader", "resets the connection before the header", thenReset(""), kReset,
       "", 0, kReceive},
      {"ResetsInsideTheBody", "resets the connection inside the body",
       thenReset("HTTP/1.1 200 OK\r\nContent-Length: 7\r\n\r\ncon"), kReset, "", 0, kTruncated},
      {"NeverAnswers", "accepts and never answers", thenWait(""), kTimeout},
      {"StopsInsideTheHeader", "stops inside the header", thenWait("HTTP/1.1 200 OK\r\nCont"),
       kTimeout},
      {"StopsInsideTheBody", "announces more than it sends, and waits",
       thenWait("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\ncontent"), kTimeout},
      {"SendsItsHeaderSlowly", "sends a byte of a header line now and then",
       thenForEver("HTTP/1.1 200 OK\r\nX: ", "x", std::chrono::milliseconds(100)), kTimeout},
      {"SendsInterimAnswersSlowly", "sends interim answers (102) now and then",
       thenForEver("", "HTTP/1.1 102 Processing\r\n\r\n", std::chrono::milliseconds(100)),
       kTimeout},
      {"SendsAnExtensionSlowly", "sends a byte of the extension of a chunk now and then",
       thenForEver(kChunked + "1;", "x", std::chrono::milliseconds(100)), kTimeout},
      {"SendsTrailersSlowly", "sends a field after a chunked body now and then",
       thenForEver(kChunked + "1\r\nx\r\n0\r\n", "X: y\r\n", std::chrono::milliseconds(100)),
       kTimeout},
      {"SendsAByteNowAndThen", "sends a byte every three seconds",
       thenForEver("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n", "c", std::chrono::seconds(3)),
       kTimeout},
  };
}

std::vector<Fault> lengthFaults() {
  return {
      {"SendsHalfABody", "announces more than it sends, and closes",
       thenClose("HTTP/1.1 200 OK\r\nContent-Length: 7\r\n\r\ncon"), kTruncated},
      {"AnnouncesLessThanItSends", "announces less than it sends",
       thenWait("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\ncontent"), "", "con"},
      {"AnnouncesNoLength", "announces no length, and closes",
       thenClose("HTTP/1.1 200 OK\r\n\r\ncontent"), "", "content"},
      {"AnnouncesANegativeLength", "announces a negative length",
       thenWait("HTTP/1.1 200 OK\r\nContent-Length: -7\r\n\r\ncontent"), kLength},
      {"AnnouncesNoNumber", "announces a length that is not a number",
       thenWait("HTTP/1.1 200 OK\r\nContent-Length: seven\r\n\r\ncontent"), kLength},
      {"AnnouncesALengthTooLarge", "announces a length that fits no number",
       thenWait("HTTP/1.1 200 OK\r\nContent-Length: 9223372036854775808\r\n\r\ncontent"), kLength},
      {"AnnouncesTwoLengths", "announces two lengths that differ",
       thenWait("HTTP/1.1 200 OK\r\nContent-Length: 7\r\nContent-Length: 3\r\n\r\ncontent"),
       kLength},
      {"AnnouncesALengthAndChunks", "announces a length and chunks",
       thenWait("HTTP/1.1 200 OK\r\nContent-Length: 7\r\nTransfer-Encoding: chunked\r\n\r\n"
                "7\r\ncontent\r\n0\r\n\r\n"),
       kLength},
      {"SendsNoEnd", "sends a body without end",
       thenForEver("HTTP/1.1 200 OK\r\n\r\n", std::string(65536, 'x')), "Download aborted (1)", "",
       1'000'000},
  };
}

std::vector<Fault> chunkFaults() {
  return {
      {"CutsAChunk", "cuts a chunked body inside a chunk", thenClose(kChunked + "7\r\ncon"),
       kTruncated},
      {"SendsNoLastChunk", "cuts a chunked body before its last chunk",
       thenClose(kChunked + "7\r\ncontent\r\n"), kTruncated},
      {"SendsAChunkOfNoLength", "sends a chunk whose length is not a number",
       thenWait(kChunked + "seven\r\ncontent\r\n0\r\n\r\n"), kChunk},
      {"SendsAChunkTooLong", "sends a chunk longer than its length",
       thenWait(kChunked + "3\r\ncontent\r\n0\r\n\r\n"), kChunk},
      {"SendsAChunkOfHugeLength", "sends a chunk whose length fits no number",
       thenWait(kChunked + "FFFFFFFFFFFFFFFFFF\r\ncontent\r\n0\r\n\r\n"), kChunk},
      {"SendsExtensionsWithoutEnd", "sends the extensions of a chunk without end",
       thenForEver(kChunked + "1;", repeated("x", 1000)), kExtensions},
      {"SendsAChunkOfEndlessZeros", "sends the length of a chunk without end",
       thenForEver(kChunked, repeated("0", 1000)), kExtensions},
      {"SendsTrailers", "sends fields after a chunked body",
       thenWait(kChunked + "7\r\ncontent\r\n0\r\nDigest: x\r\n\r\n"), "", "content"},
      {"SendsTrailersWithoutEnd", "sends fields after a chunked body without end",
       thenForEver(kChunked + "7\r\ncontent\r\n0\r\n", repeated("X-Filler: abcdefgh\r\n", 100)),
       kFieldCount},
      {"SendsATrailerWithoutEnd", "sends a field after a chunked body without end",
       thenForEver(kChunked + "7\r\ncontent\r\n0\r\nX: ", repeated("x", 1000)), kHeaderSize},
      {"CodesTheBody", "codes the body as \"gzip, gzip, gzip\"",
       thenClose("HTTP/1.1 200 OK\r\nTransfer-Encoding: gzip, gzip, gzip\r\n\r\n" + kGzip),
       kCoding},
      {"SendsChunksWithoutEnd", "sends chunks without end",
       thenForEver(kChunked, "10000\r\n" + std::string(65536, 'x') + "\r\n"),
       "Download aborted (1)", "", 1'000'000},
  };
}

std::vector<Fault> headerFaults() {
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  const std::string body = "Content-Length: 7\r\n\r\ncontent";
  return {
      {"SendsAHeaderLineOfMegabytes", "sends a header line of four megabytes",
       thenWait(ok + "X: " + std::string(4'000'000, 'x') + "\r\n" + body), kHeaderSize},
      {"SendsThousandsOfHeaders", "sends five thousand header lines",
       thenWait(ok + repeated("X-Filler: abcdefgh\r\n", 5000) + body), kFieldCount},
      {"SendsHeadersWithoutEnd", "sends header lines without end",
       thenForEver(ok, repeated("X-Filler: abcdefgh\r\n", 100)), kFieldCount},
      {"SendsInterimAnswersWithoutEnd", "sends interim answers (100) without end",
       thenForEver("", repeated("HTTP/1.1 100 Continue\r\n\r\n", 100)), kInterimAnswers},
      {"SendsInterimAnswers", "sends interim answers (100 and 103) before its answer",
       thenWait("HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Early Hints\r\n\r\n" + ok + body), "",
       "content"},
      {"SendsAnInterimAnswerOnly", "sends an interim answer (100) only",
       thenWait("HTTP/1.1 100 Continue\r\n\r\n"), kTimeout},
      {"BeginsItsHeaderWithAContinuation", "begins its header with a continuation line",
       thenWait(ok + " continued: so\r\n" + body), kField},
      {"SendsZeroBytesInAHeader", "sends zero bytes in a header line",
       thenWait(ok + "X: \0\0\0\r\n"s + body), kForbiddenByte},
      {"SendsABareCr", "sends a carriage return inside a header line",
       thenWait(ok + "X: y\rz\r\n" + body), kForbiddenByte},
      {"SendsNoField", "sends a header line that is not a field",
       thenWait(ok + "nonsense\r\n" + body), kField},
      {"FoldsItsLines", "folds its header lines", thenWait(ok + "X: y\r\n z\r\n" + body), "",
       "content"},
      {"EndsItsLinesWithLf", "ends its lines with a line feed alone",
       thenWait("HTTP/1.1 200 OK\nContent-Length: 7\n\ncontent"), "", "content"},
      {"GivesNoReason", "gives no reason beside the status", thenWait("HTTP/1.1 200\r\n" + body),
       "", "content"},
      {"ChangesTheProtocol", "changes to another protocol (101)",
       thenWait("HTTP/1.1 101 Switching Protocols\r\nUpgrade: x\r\nConnection: upgrade\r\n\r\n"),
       kUpgrade},
      {"SendsAnAnswerTooMany", "sends a second answer that nobody asked for",
       thenWait(ok + body + ok + "Content-Length: 5\r\n\r\nother"), "", "content"},
      {"SendsALineFirst", "sends an empty line before its answer", thenWait("\r\n" + ok + body),
       kStatusLine},
      {"SpeaksHttp09", "speaks HTTP/0.9", thenClose("content"), kStatusLine},
      {"SpeaksAnotherVersion", "speaks HTTP/9.9",
       thenWait("HTTP/9.9 200 OK\r\nContent-Length: 7\r\n\r\ncontent"), kStatusLine},
      {"SpeaksAnotherProtocol", "speaks another protocol",
       thenWait("220 mail.example ESMTP ready\r\n"), kStatusLine},
      {"CompressesTheBody", "compresses the body without being asked",
       thenWait(ok + "Content-Encoding: gzip\r\nContent-Length: " + std::to_string(kGzip.size()) +
                "\r\n\r\n" + kGzip),
       "", kGzip},
  };
}

std::vector<Fault> statusFaults() {
  return {
      {"Answers204", "answers 204", status(204), "Unexpected HTTP status (204)"},
      {"Answers206", "answers 206", status(206, "Content-Range: bytes 0-0/7\r\n"),
       "Unexpected HTTP status (206)"},
      {"Answers301", "answers 301 to another host",
       status(301, "Location: http://127.0.0.1:1/elsewhere\r\n"), "Unexpected HTTP status (301)"},
      {"Answers304", "answers 304", status(304), "Unexpected HTTP status (304)"},
      {"Answers401", "answers 401", status(401, "WWW-Authenticate: Basic realm=\"x\"\r\n"),
       "Unexpected HTTP status (401)"},
      {"Answers407", "answers 407", status(407, "Proxy-Authenticate: Basic realm=\"x\"\r\n"),
       "Unexpected HTTP status (407)"},
      {"Answers416", "answers 416", status(416), "Unexpected HTTP status (416)"},
      {"Answers429", "answers 429", status(429, "Retry-After: 3600\r\n"),
       "Unexpected HTTP status (429)"},
      {"Answers500", "answers 500", status(500), "Unexpected HTTP status (500)"},
      {"Answers999", "answers 999", status(999), "Unexpected HTTP status (999)"},
  };
}

std::vector<Fault> allFaults() {
  std::vector<Fault> all;
  for (const auto& group :
       {connectionFaults(), lengthFaults(), chunkFaults(), headerFaults(), statusFaults()}) {
    all.insert(all.end(), group.begin(), group.end());
  }
  return all;
}

}  // namespace

bool Fault::waitsForALimit() const {
  return std::string_view(cause) == kTimeout;
}

const std::vector<Fault>& faults() {
  static const std::vector<Fault> all = allFaults();
  return all;
}
