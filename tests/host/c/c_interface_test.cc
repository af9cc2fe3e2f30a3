// Tests the C functions one by one: what they take, what they refuse, and what they hold.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <functional>
#include <future>
#include <stdexcept>
#include <string>
#include <vector>

#include "fake_module_control.h"
#include "mtlhost.h"
#include "support/scripted_server.h"
#include "support/temp_dir.h"

namespace {

using Lines = std::vector<std::string>;

Lines textsOf(const mtlhost_error* error) {
  Lines lines;
  for (; error != nullptr; error = mtlhost_error_next(error)) {
    lines.push_back(std::string("[") + mtlhost_error_tag(error) + "] " +
                    std::to_string(mtlhost_error_code(error)) + ": " +
                    mtlhost_error_message(error));
  }
  return lines;
}

class CInterface : public testing::Test {
 protected:
  CInterface() {
    options_.size = sizeof(options_);
    options_.module_file = FAKE_MODULE;
    options_.target_directory = folder_.c_str();
    options_.callback = [](const mtlhost_event* event, void* user) {
      return static_cast<CInterface*>(user)->hear(*event);
    };
    options_.user = this;
  }
  ~CInterface() override {
    mtlhost_close(library_);
    EXPECT_EQ(fake_.handles(), 0);
  }

  mtlhost_library* open(const char* situation) {
    mtlhost_close(library_);
    options_.remote_address = situation;
    EXPECT_EQ(mtlhost_open(&options_, &library_, nullptr), MTLHOST_OK);
    return library_;
  }

  int hear(const mtlhost_event& event) {
    EXPECT_EQ(event.size, sizeof(mtlhost_event));
    EXPECT_NE(event.text, nullptr);
    const std::string text = event.text;
    texts_.push_back(text);
    kinds_.push_back(event.kind);
    if (event.error != nullptr) chains_.push_back(textsOf(event.error));
    return onText_(text);
  }

  FakeModuleControl fake_;
  TempDir directory_;
  const std::string folder_ = directory_ / "copy";
  mtlhost_options options_{};
  mtlhost_library* library_ = nullptr;
  std::function<int(const std::string& text)> onText_ = [](const std::string&) { return 0; };
  Lines texts_;
  std::vector<int> kinds_;
  std::vector<Lines> chains_;
};

TEST_F(CInterface, TellsEverything) {
  EXPECT_EQ(mtlhost_sync(open("everything")), MTLHOST_FAILED);
  EXPECT_EQ(kinds_,
            (std::vector<int>{MTLHOST_EVENT_INFO, MTLHOST_EVENT_STAGE, MTLHOST_EVENT_WARNING,
                              MTLHOST_EVENT_WARNING, MTLHOST_EVENT_PROGRESS, MTLHOST_EVENT_PROGRESS,
                              MTLHOST_EVENT_PROGRESS, MTLHOST_EVENT_ERROR}));
  const Lines failure{"[DownloaderImpl::readRemoteIdFile] -1: Could not download remote stamp file",
                      "[HttpGetter::responseProgressCb] -1: No stream to write to"};
  EXPECT_EQ(chains_, (std::vector<Lines>{{"[A::b] 5: Ivalid http proxy address \"?\"."}, failure}));
  EXPECT_EQ(textsOf(mtlhost_last_error(library_)), failure);
}

TEST_F(CInterface, HoldsNoErrorAfterASuccess) {
  mtlhost_cancel(open("ok"));
  EXPECT_EQ(mtlhost_last_error(library_), nullptr);
  EXPECT_EQ(mtlhost_check(library_), MTLHOST_CANCELLED);
  EXPECT_NE(mtlhost_last_error(library_), nullptr);
  EXPECT_EQ(mtlhost_check(library_), MTLHOST_UPDATE_AVAILABLE);
  EXPECT_EQ(mtlhost_last_error(library_), nullptr);
  EXPECT_EQ(mtlhost_check(open("up-to-date")), MTLHOST_OK);
}

TEST_F(CInterface, RefusesNullHandles) {
  EXPECT_EQ(mtlhost_check(nullptr), MTLHOST_WRONG_USE);
  EXPECT_EQ(mtlhost_sync(nullptr), MTLHOST_WRONG_USE);
  mtlhost_cancel(nullptr);
  mtlhost_close(nullptr);
  mtlhost_free_error(nullptr);
  EXPECT_EQ(mtlhost_last_error(nullptr), nullptr);
  EXPECT_EQ(mtlhost_error_next(nullptr), nullptr);
  EXPECT_STREQ(mtlhost_error_tag(nullptr), "");
  EXPECT_STREQ(mtlhost_error_message(nullptr), "");
  EXPECT_EQ(mtlhost_error_code(nullptr), 0);
}

TEST_F(CInterface, RefusesMissingArguments) {
  const auto expectRefusal = [&](const mtlhost_options* options, mtlhost_library** library,
                                 const char* reason) {
    mtlhost_error* error = nullptr;
    EXPECT_EQ(mtlhost_open(options, library, &error), MTLHOST_WRONG_USE);
    EXPECT_EQ(textsOf(error), Lines{std::string("[mtlhost] -1: mtlhost_open() needs ") + reason});
    mtlhost_free_error(error);
    EXPECT_EQ(mtlhost_open(options, library, nullptr), MTLHOST_WRONG_USE);
  };
  auto* library = reinterpret_cast<mtlhost_library*>(this);
  expectRefusal(nullptr, &library, "options and a place for the library");
  EXPECT_EQ(library, nullptr);
  expectRefusal(&options_, nullptr, "options and a place for the library");
  options_.target_directory = "";
  expectRefusal(&options_, &library, "a target directory");
  options_.target_directory = nullptr;
  expectRefusal(&options_, &library, "a target directory");
}

TEST_F(CInterface, TellsWhyAModuleCannotBeUsed) {
  mtlhost_error* error = nullptr;
  fake_.choose("broken context");
  EXPECT_EQ(mtlhost_open(&options_, &library_, &error), MTLHOST_FAILED);
  EXPECT_EQ(library_, nullptr);
  EXPECT_EQ(textsOf(error), (Lines{"[mtlhost] -1: The networking library could not be started",
                                   "[] -5: [Context] -5: no TLS"}));
  mtlhost_free_error(error);
}

TEST_F(CInterface, LeavesNoErrorWhenItOpens) {
  auto* error = reinterpret_cast<mtlhost_error*>(this);
  EXPECT_EQ(mtlhost_open(&options_, &library_, &error), MTLHOST_OK);
  EXPECT_EQ(error, nullptr);
}

TEST_F(CInterface, TakesFieldsBeyondASmallerSizeForZero) {
  options_.size = offsetof(mtlhost_options, proxy_address);
  options_.proxy_mode = MTLHOST_PROXY_NONE;
  options_.proxy_address = reinterpret_cast<const char*>(1);
  EXPECT_EQ(mtlhost_sync(open("everything")), MTLHOST_FAILED);
  EXPECT_TRUE(texts_.empty()) << "the callback lies beyond";
  EXPECT_EQ(textsOf(mtlhost_last_error(library_)).size(), 2U);
}

TEST_F(CInterface, TakesNoHalfOfAField) {
  options_.size = offsetof(mtlhost_options, user) + 1;
  options_.callback = [](const mtlhost_event*, void* user) {
    EXPECT_EQ(user, nullptr);
    return 0;
  };
  mtlhost_sync(open("everything"));
}

TEST_F(CInterface, RefusesASizeWithoutATargetDirectory) {
  for (const std::size_t size : {std::size_t{0}, offsetof(mtlhost_options, target_directory)}) {
    options_.size = size;
    EXPECT_EQ(mtlhost_open(&options_, &library_, nullptr), MTLHOST_WRONG_USE);
  }
}

TEST_F(CInterface, LooksAtNothingBeyondItsOwnFields) {
  struct {
    mtlhost_options options;
    char later[64];
  } larger{options_, {}};
  std::memset(larger.later, 0xEE, sizeof(larger.later));
  larger.options.size = sizeof(larger);
  larger.options.remote_address = "up-to-date";
  EXPECT_EQ(mtlhost_open(&larger.options, &library_, nullptr), MTLHOST_OK);
  EXPECT_EQ(mtlhost_sync(library_), MTLHOST_OK);
}

TEST_F(CInterface, HandsItsOptionsOn) {
  const TempDir folder;
  const std::string target = folder.path().u8string();
  options_.target_directory = target.c_str();
  options_.sub_path = "sub";
  options_.proxy_address = "p:1";
  const auto settingsWith = [&](int mode) {
    options_.proxy_mode = mode;
    mtlhost_sync(open("settings"));
    return texts_.back();
  };
  EXPECT_EQ(settingsWith(0), target + "|sub|0|p:1");
  EXPECT_EQ(settingsWith(MTLHOST_PROXY_SYSTEM), target + "|sub|0|p:1");
  EXPECT_EQ(settingsWith(MTLHOST_PROXY_EXPLICIT), target + "|sub|2|p:1");
  EXPECT_EQ(settingsWith(MTLHOST_PROXY_NONE), target + "|sub|3|p:1");
}

TEST(CSubPath, ComesIntoAFreshTarget) {
  const TempDir directory;
  ScriptedServer server;
  server.serve("/beta/id.txt", "v1");
  server.serve("/beta/filelist.json", "[]\n");
  const std::string address = server.address();
  const std::string target = directory / "target";
  mtlhost_options options{};
  options.size = sizeof(options);
  options.module_file = MTLLIB_MODULE;
  options.remote_address = address.c_str();
  options.target_directory = target.c_str();
  options.sub_path = "beta";
  options.proxy_mode = MTLHOST_PROXY_NONE;
  mtlhost_library* library = nullptr;
  ASSERT_EQ(mtlhost_open(&options, &library, nullptr), MTLHOST_OK);
  EXPECT_EQ(mtlhost_sync(library), MTLHOST_OK);
  mtlhost_close(library);
  EXPECT_EQ(readFile(directory / "target/beta/id.txt"), "v1");
}

TEST_F(CInterface, KeepsCopiesOfTheOptions) {
  std::string directory = folder_;
  options_.target_directory = directory.c_str();
  open("settings");
  directory = "changed, and longer than it was before";
  mtlhost_sync(library_);
  EXPECT_EQ(texts_.back(), folder_ + "||0|");
}

TEST_F(CInterface, WorksWithoutACallback) {
  options_.callback = nullptr;
  EXPECT_EQ(mtlhost_sync(open("everything")), MTLHOST_FAILED);
  EXPECT_EQ(mtlhost_sync(open("ok")), MTLHOST_OK);
}

TEST_F(CInterface, TellsNothingButUtf8) {
  mtlhost_sync(open("hostile"));
  EXPECT_EQ(texts_, Lines{"Downloading file \"\xEF\xBF\xBD\x1B]0;owned\x07\n.tx\" (1 bytes)"});
}

TEST(CInterfacePrintable, IsALineFitForATerminal) {
  char line[64];
  EXPECT_EQ(mtlhost_printable("a\x1B[2J\n\u202E", line, sizeof(line)), 22U);
  EXPECT_STREQ(line, R"(a\x1B[2J \xE2\x80\xAE)");
  EXPECT_EQ(mtlhost_printable(nullptr, line, sizeof(line)), 1U);
  EXPECT_STREQ(line, "");
}

TEST(CInterfacePrintable, IsCutBetweenCharacters) {
  char line[64];
  for (const auto& [size, expected] :
       std::map<std::size_t, const char*>{{5, "木a"}, {4, "木"}, {3, ""}, {1, ""}}) {
    EXPECT_EQ(mtlhost_printable("木ab", line, size), 6U);
    EXPECT_STREQ(line, expected) << size;
  }
  EXPECT_EQ(mtlhost_printable("木ab", nullptr, 0), 6U);
}

TEST(CInterfaceParsing, TakesSizesAndTimesAsUsersWriteThem) {
  EXPECT_EQ(mtlhost_parse_size("10M"), 10000000);
  EXPECT_EQ(mtlhost_parse_size("0"), 0);
  EXPECT_EQ(mtlhost_parse_duration("2m"), 120);
  EXPECT_EQ(mtlhost_parse_duration("90"), 90);
  for (const char* text : {"", "x", "-1", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(mtlhost_parse_size(text), -1);
    EXPECT_EQ(mtlhost_parse_duration(text), -1);
  }
}

TEST_F(CInterface, TellsMessagesOfAnyLength) {
  mtlhost_sync(open("long"));
  EXPECT_EQ(texts_, Lines{"<" + std::string(100000, 'x') + ">"});
}

TEST_F(CInterface, IsCancelledByItsCallback) {
  open("stall");
  onText_ = [](const std::string& text) { return text == "Waiting" ? 1 : 0; };
  EXPECT_EQ(mtlhost_sync(library_), MTLHOST_CANCELLED);
  EXPECT_EQ(textsOf(mtlhost_last_error(library_)).back(),
            "[HttpGetter::responseProgressCb] -1: Download aborted (1)");
}

TEST_F(CInterface, AsksItsCallbackWhileNothingArrives) {
  open("stall");
  int asked = 0;
  onText_ = [&](const std::string& text) { return text == "Accessing stamp" && ++asked == 5; };
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(mtlhost_sync(library_), MTLHOST_CANCELLED);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
  EXPECT_EQ(asked, 5);
}

TEST_F(CInterface, IsCancelledByAnotherThread) {
  open("stall");
  std::promise<void> begun;
  std::atomic<bool> told{false};
  onText_ = [&](const std::string&) {
    if (!told.exchange(true)) begun.set_value();
    return 0;
  };
  std::future<int> result =
      std::async(std::launch::async, [this] { return mtlhost_sync(library_); });
  begun.get_future().wait();
  EXPECT_EQ(mtlhost_check(library_), MTLHOST_WRONG_USE) << "while another one is under way";
  mtlhost_cancel(library_);
  EXPECT_EQ(result.get(), MTLHOST_CANCELLED);
}

TEST_F(CInterface, IsCancelledBeforeItBegins) {
  mtlhost_cancel(open("ok"));
  EXPECT_EQ(mtlhost_sync(library_), MTLHOST_CANCELLED);
  EXPECT_EQ(textsOf(mtlhost_last_error(library_)),
            Lines{"[mtlhost] -1: cancelled before it began"});
  EXPECT_EQ(mtlhost_sync(library_), MTLHOST_OK);
}

TEST_F(CInterface, TakesACallbackThatThrowsForAFailure) {
  open("stall");
  onText_ = [](const std::string& text) -> int { throw std::runtime_error("no " + text); };
  EXPECT_EQ(mtlhost_sync(library_), MTLHOST_FAILED);
  EXPECT_EQ(textsOf(mtlhost_last_error(library_)), Lines{"[mtlhost] -1: no Waiting"});
  onText_ = [](const std::string&) -> int { throw 42; };
  EXPECT_EQ(mtlhost_sync(library_), MTLHOST_FAILED);
  EXPECT_EQ(textsOf(mtlhost_last_error(library_)),
            Lines{"[mtlhost] -1: The callback threw an exception"});
}

}  // namespace
