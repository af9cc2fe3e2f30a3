// Records what happens on several threads in one ordered transcript.
#include "system_fixture.h"

#include <algorithm>
#include <sstream>

#include "support/call_text.h"
#include "support/system_text.h"

namespace {

using Clock = std::chrono::steady_clock;

// As the transcript shows a text: between its quotes.
std::string insideQuotes(const std::string& text) {
  const std::string literal = stringLiteral(text);
  return literal.substr(1, literal.size() - 2);
}

// Windows words its errors itself.
void substituteSystemText(Transcript& transcript, unsigned code, const std::string& text) {
  const std::string prefix = "(" + std::to_string(code) + ") ";
  transcript.substitute(prefix + insideQuotes(systemText(code, text)), prefix + insideQuotes(text));
}

}  // namespace

SystemTest::SystemTest() {
  module_.fill(&library_);
  context_ = library_.createNetworkContext();
  target_ = directory_ / "target";
  settings_.remoteAddress = (server_.address() + "/lib").c_str();
  settings_.proxyMode = PROXY_MODE_DISABLED;
  settings_.targetDirectory = target_.c_str();

  const std::string root = directory_.path().generic_u8string();
  std::string windowsRoot = root;
  std::replace(windowsRoot.begin(), windowsRoot.end(), '/', '\\');
  transcript_.substitute(insideQuotes(root), "DIR");
  transcript_.substitute(insideQuotes(windowsRoot), "DIR");
  transcript_.substitute("127.0.0.1:" + std::to_string(server_.port()), "SERVER");
  substituteSystemText(transcript_, 2, "The system cannot find the file specified.\r\n");
  substituteSystemText(transcript_, 3, "The system cannot find the path specified.\r\n");
  substituteSystemText(transcript_, 5, "Access is denied.\r\n");

  callback_.abortAnswer = [this](auto*...) {
    constexpr int kTooLong = 999;
    return Clock::now() - begin_ > std::chrono::seconds(60) ? kTooLong : 0;
  };
  callback_.observer = [this](const CallbackCall& call) { hear(call); };
  server_.observe([this](const ServerRequest& request) { transcript_.add(request.line()); });
}

SystemTest::~SystemTest() {
  library_.destroyDownloader(downloader_);
  library_.destroyNetworkContext(context_);
}

DownloaderImpl* SystemTest::downloader() {
  if (downloader_ == nullptr) downloader_ = library_.createDownloader(&callback_, &settings_);
  return downloader_;
}

int SystemTest::run() {
  return enter("runDownload()", library_.runDownload);
}

int SystemTest::check() {
  return enter("checkForUpdate()", library_.checkForUpdate);
}

void SystemTest::publish(const std::string& stamp, const std::string& list) {
  server_.serve("/lib/id.txt", stamp);
  server_.serve("/lib/filelist.json", list + "\n");
}

void SystemTest::publishFiles(int count) {
  std::string list;
  for (int i = 0; i < count; ++i) {
    const std::string name = "f" + std::to_string(i);
    list += (list.empty() ? R"([{"path":")" : R"(,{"path":")") + name + R"(","size":10})";
    server_.serve("/lib/" + name, "content " + name);
  }
  publish("new", list + "]");
}

void SystemTest::answer(const std::string& path, const std::string& beginning) {
  server_.hold(path);
  transcript_.after(beginning, [this, path] { server_.release(path); });
}

void SystemTest::beginTranscript() {
  transcript_.clear();
  entered_ = false;
}

void SystemTest::describeDisk() {
  const std::vector<std::string> lines = describeTree(directory_ / "");
  for (const std::string& line : lines)
    transcript_.add(line);
  if (lines.empty()) transcript_.add("on disk: nothing");
}

void SystemTest::expectTranscript(const std::string& expected) const {
  std::string lines;
  std::string line;
  for (std::istringstream stream(expected); std::getline(stream, line);) {
    const std::size_t begin = line.find_first_not_of(' ');
    if (begin != std::string::npos) lines += line.substr(begin) + "\n";
  }
  EXPECT_EQ(transcript_.text(), lines);
}

int SystemTest::enter(const char* name, std::int32_t (*entry)(DownloaderImpl* downloader)) {
  if (!entered_) describeDisk();
  entered_ = true;
  begin_ = Clock::now();
  transcript_.add(name);
  const std::int32_t result = entry(downloader());
  transcript_.add("returned " + std::to_string(result));
  describeDisk();
  return result;
}

void SystemTest::hear(const CallbackCall& call) {
  if (call.operation == "isAborted") return;
  if (call.operation == "setProgressText" && call.text == "Downloading files") {
    awaitedRequests_ = server_.requests().size();
  }
  if (call.format.rfind("Downloading file \"", 0) == 0) {
    EXPECT_TRUE(server_.waitForRequests(awaitedRequests_));
    ++awaitedRequests_;
  }
  transcript_.add(call.sourceText());
}
