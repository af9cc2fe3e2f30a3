// Tests which calls reading the registry and a system message makes, with which arguments, and what
// becomes of every answer, over a system that the test plays.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "platform/utf.h"
#include "platform/win32.h"
#include "plugin/error_chain.h"
#include "qutils/registry.h"
#include "qutils/system_error.h"
#include "qutils/system_proxy.h"
#include "qutils/text_of.h"

namespace {

using QUtils::CharString;
using QUtils::readRegistryValue;
using QUtils::readSystemProxySettings;
using QUtils::RegistryKey;
using QUtils::RegistryValue;
using QUtils::registryValueToString;
using QUtils::REGKEY_READ;
using QUtils::systemErrorText;
using QUtils::SystemProxySettings;
using testing::ElementsAre;
using testing::IsEmpty;

struct QueryAnswer {
  LSTATUS status = 0;
  DWORD type = REG_NONE;
  std::string data;
};

// What the system was asked, and what it answers.
struct PlayedSystem {
  std::vector<std::string> calls;
  LSTATUS openStatus = 0;
  std::deque<QueryAnswer> queries;  // one for each query, in order
  std::deque<DWORD> expansions;     // the units said to be needed, one for each expansion
  std::vector<WCHAR> message;       // empty: there is none
};
PlayedSystem played;

template <typename... Numbers>
void note(const char* format, Numbers... numbers) {
  char text[256];
  std::snprintf(text, sizeof(text), format, static_cast<unsigned long long>(numbers)...);
  played.calls.emplace_back(text);
}

std::uintptr_t number(const void* handle) {
  return reinterpret_cast<std::uintptr_t>(handle);
}

// Root keys are numbers of 32 bits, whose sign may fill a handle up.
std::uint32_t number(HKEY key) {
  return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(key));
}

std::string utf8(LPCWSTR text) {
  return Platform::duplicateAsUtf8(text).get();
}

template <typename Entry>
Entry takeFirst(std::deque<Entry>& entries) {
  if (entries.empty()) return {};
  Entry first = entries.front();
  entries.pop_front();
  return first;
}

}  // namespace

LSTATUS recordedRegOpenKeyEx(HKEY base, LPCWSTR path, DWORD options, REGSAM access, HKEY* result) {
  note(("open %llx " + utf8(path) + " options %llu access %llx").c_str(), number(base), options,
       access);
  if (played.openStatus == 0) *result = reinterpret_cast<HKEY>(std::uintptr_t{0x77});
  return played.openStatus;
}

LSTATUS recordedRegQueryValueEx(HKEY key, LPCWSTR name, DWORD* reserved, DWORD* type, BYTE* data,
                                DWORD* size) {
  const QueryAnswer answer = takeFirst(played.queries);
  if (data == nullptr) {
    note(("query %llx " + utf8(name) + " reserved %llx").c_str(), number(key), number(reserved));
  } else {
    note(("read %llx " + utf8(name) + " into %llu").c_str(), number(key), *size);
    std::copy_n(answer.data.begin(), std::min<std::size_t>(answer.data.size(), *size), data);
  }
  *type = answer.type;
  *size = static_cast<DWORD>(answer.data.size());
  return answer.status;
}

LSTATUS recordedRegCloseKey(HKEY key) {
  note("close %llx", number(key));
  return 0;
}

DWORD recordedExpandEnvironmentStrings(LPCWSTR text, LPWSTR buffer, DWORD size) {
  note(("expand " + utf8(text) + " into %llu").c_str(), size);
  const DWORD needed = takeFirst(played.expansions);
  if (buffer != nullptr && needed > 0 && needed <= size) {
    std::fill_n(buffer, needed - 1, static_cast<WCHAR>('e'));
    buffer[needed - 1] = 0;
  }
  return needed;
}

DWORD recordedFormatMessage(DWORD flags, const void* source, DWORD code, DWORD language,
                            LPWSTR buffer, DWORD size, const void* arguments) {
  note("message flags %llx source %llx code %llu language %llu size %llu arguments %llx", flags,
       number(source), code, language, size, number(arguments));
  if (played.message.empty()) return 0;
  WCHAR* text = played.message.data();
  std::memcpy(buffer, &text, sizeof(text));
  return static_cast<DWORD>(played.message.size() - 1);
}

HLOCAL recordedLocalFree(HLOCAL block) {
  if (block == nullptr) return nullptr;
  played.calls.emplace_back(block == played.message.data() ? "free the message" : "free nonsense");
  return nullptr;
}

namespace {

constexpr const char* kInternetSettings =
    "open 80000001 SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Internet Settings options 0 "
    "access 20019";

class SystemCalls : public testing::Test {
 protected:
  SystemCalls() { played = PlayedSystem(); }

  // The next query and the read behind it find the same.
  static void answerBoth(DWORD type, const std::string& data) {
    played.queries.push_back({0, type, data});
    played.queries.push_back({0, type, data});
  }
  static void setMessage(const std::string& text) {
    played.message.assign(text.begin(), text.end());
    played.message.push_back(0);
  }

  const RegistryKey root_{HKEY_CURRENT_USER};
};

class RegistryKeyCalls : public SystemCalls {};

TEST_F(RegistryKeyCalls, TheAccessFollowsTheFlags) {
  RegistryKey key;
  for (const std::uint32_t flags : {1U, 2U, 3U, 4U, 5U, 6U, 7U})
    EXPECT_EQ(textOf(key.open(root_, "a\\b", flags)), "No error");
  EXPECT_THAT(played.calls, ElementsAre("open 80000001 a\\b options 0 access 20019", "close 77",
                                        "open 80000001 a\\b options 0 access 20006", "close 77",
                                        "open 80000001 a\\b options 0 access 2001f", "close 77",
                                        "open 80000001 a\\b options 0 access 200", "close 77",
                                        "open 80000001 a\\b options 0 access 20219", "close 77",
                                        "open 80000001 a\\b options 0 access 20206", "close 77",
                                        "open 80000001 a\\b options 0 access 2021f"));
}

TEST_F(RegistryKeyCalls, AnOpenKeyIsClosedOnceAndARootNever) {
  {
    const RegistryKey root(HKEY_CURRENT_USER);
    RegistryKey key;
    EXPECT_FALSE(key.open(root, "a", REGKEY_READ));
    key.close();
  }
  EXPECT_THAT(played.calls, ElementsAre("open 80000001 a options 0 access 20019", "close 77"));
}

TEST_F(RegistryKeyCalls, AKeyThatCouldNotBeOpenedIsNotClosed) {
  played.openStatus = 5;
  {
    RegistryKey key;
    EXPECT_EQ(textOf(key.open(root_, "a", REGKEY_READ)),
              "[QUtils::RegistryKey::open] 5: Failed to open registry sub key: a");
  }
  EXPECT_THAT(played.calls, ElementsAre("open 80000001 a options 0 access 20019"));
}

TEST_F(RegistryKeyCalls, NothingIsAskedWithRefusedArguments) {
  RegistryKey key;
  EXPECT_EQ(errorCode(key.open(root_, "", REGKEY_READ), 0), -1);
  EXPECT_EQ(errorCode(key.open(RegistryKey(), "a", REGKEY_READ), 0), -2);
  EXPECT_THAT(played.calls, IsEmpty());
}

TEST_F(RegistryKeyCalls, AKeyOpenedWithoutFlagsIsGivenBackAtOnce) {
  RegistryKey key;
  EXPECT_EQ(textOf(key.open(root_, "a", 0)), "No error");
  EXPECT_THAT(played.calls, ElementsAre("open 80000001 a options 0 access 0", "close 77"));
}

class RegistryValueCalls : public SystemCalls {
 protected:
  RegistryValueCalls() {
    EXPECT_FALSE(key_.open(root_, "a", REGKEY_READ));
    played.calls.clear();
  }
  std::string read() { return textOf(readRegistryValue(key_, "Value", value_)); }

  RegistryKey key_;
  RegistryValue value_;
};

TEST_F(RegistryValueCalls, AValueIsMeasuredAndThenRead) {
  answerBoth(REG_BINARY, "abcde");
  EXPECT_EQ(read(), "No error");
  EXPECT_THAT(played.calls, ElementsAre("query 77 Value reserved 0", "read 77 Value into 5"));
}

TEST_F(RegistryValueCalls, AFailedReadIsReportedAndLeavesTheValueAlone) {
  answerBoth(REG_BINARY, "old");
  EXPECT_EQ(read(), "No error");
  setMessage("Played.\r\n");
  played.queries = {{0, REG_SZ, "abcd"}, {5, REG_SZ, "abcd"}};
  EXPECT_EQ(read(),
            "[QUtils::readRegistryValue] 5: Error in registry value read of Value ((5) "
            "Played.\r\n)");
  EXPECT_EQ(value_.type, REG_BINARY);
  EXPECT_EQ(value_.size, 3U);
  EXPECT_EQ(std::memcmp(value_.data.get(), "old", 3), 0);
}

TEST_F(RegistryValueCalls, AFailedQueryIsNotFollowedByARead) {
  setMessage("Played.\r\n");
  played.queries = {{5, REG_SZ, ""}};
  EXPECT_EQ(read(),
            "[QUtils::readRegistryValue] 5: Error in registry value query of Value ((5) "
            "Played.\r\n)");
  EXPECT_EQ(played.calls.front(), "query 77 Value reserved 0");
  EXPECT_EQ(std::count(played.calls.begin(), played.calls.end(), "read 77 Value into 0"), 0);
}

TEST_F(RegistryValueCalls, AValueThatGrewMeanwhileIsAFailedRead) {
  played.queries = {{0, REG_SZ, "ab"}, {234, REG_SZ, "abcdef"}};
  EXPECT_EQ(read(),
            "[QUtils::readRegistryValue] 234: Error in registry value read of Value ((234) )");
}

TEST_F(RegistryValueCalls, AValueThatChangedMeanwhileIsWhatTheReadFound) {
  played.queries = {{0, REG_SZ, "abcdef"}, {0, REG_DWORD, std::string("\1\0\0\0", 4)}};
  EXPECT_EQ(read(), "No error");
  EXPECT_EQ(value_.type, REG_DWORD);
  EXPECT_EQ(value_.size, 4U);
  EXPECT_EQ(value_.number, 1U);
}

class Expansion : public SystemCalls {
 protected:
  // What becomes of the text "a" when the expansions say that they need so many units.
  int expand(const std::deque<DWORD>& needed) {
    RegistryValue value;
    value.type = REG_EXPAND_SZ;
    value.size = 4;
    value.data.reset(static_cast<BYTE*>(QUtils::qmalloc(4)));
    std::memcpy(value.data.get(), "a\0\0", 4);
    played.calls.clear();
    played.expansions = needed;
    return registryValueToString(value, text_);
  }

  CharString text_{"old"};
};

TEST_F(Expansion, IsMeasuredAndThenMade) {
  EXPECT_EQ(expand({4, 4}), 0);
  EXPECT_STREQ(text_.text(), "eee");
  EXPECT_THAT(played.calls, ElementsAre("expand a into 0", "expand a into 4"));
}

TEST_F(Expansion, ThatFailsGivesNoText) {
  EXPECT_EQ(expand({0}), 3);
  EXPECT_EQ(expand({4, 0}), 3);
  EXPECT_EQ(expand({4, 5}), 3) << "it grew meanwhile";
  EXPECT_STREQ(text_.text(), "old");
}

class SystemProxyCalls : public SystemCalls {
 protected:
  std::string read(bool force = true) { return textOf(readSystemProxySettings(settings_, force)); }

  SystemProxySettings settings_;
};

TEST_F(SystemProxyCalls, ReadThreeValuesAndCloseTheKey) {
  answerBoth(REG_DWORD, std::string("\1\0\0\0", 4));
  answerBoth(REG_SZ, std::string("p\0\0\0", 4));
  answerBoth(REG_SZ, std::string("b\0\0\0", 4));
  EXPECT_EQ(read(), "No error");
  EXPECT_STREQ(settings_.httpProxy.text(), "http://p");
  EXPECT_STREQ(settings_.bypassText.text(), "b");
  EXPECT_THAT(played.calls,
              ElementsAre(kInternetSettings, "query 77 ProxyEnable reserved 0",
                          "read 77 ProxyEnable into 4", "query 77 ProxyServer reserved 0",
                          "read 77 ProxyServer into 4", "query 77 ProxyOverride reserved 0",
                          "read 77 ProxyOverride into 4", "close 77"));
}

TEST_F(SystemProxyCalls, StopWhereTheProxyIsOff) {
  answerBoth(REG_DWORD, std::string("\0\0\0\0", 4));
  EXPECT_EQ(read(), "No error");
  EXPECT_THAT(played.calls, ElementsAre(kInternetSettings, "query 77 ProxyEnable reserved 0",
                                        "read 77 ProxyEnable into 4", "close 77"));
}

TEST_F(SystemProxyCalls, AreMadeAgainOnlyWhenForced) {
  played.openStatus = 5;
  EXPECT_EQ(errorCode(readSystemProxySettings(settings_, true), 0), 5);
  EXPECT_EQ(read(false), "No error");
  EXPECT_THAT(played.calls, ElementsAre(kInternetSettings));
}

class SystemErrorCalls : public SystemCalls {};

TEST_F(SystemErrorCalls, AskForTheEnglishMessageWithoutInsertsAndFreeIt) {
  setMessage("Access is denied.\r\n");
  EXPECT_STREQ(systemErrorText(5).text(), "(5) Access is denied.\r\n");
  EXPECT_THAT(played.calls,
              ElementsAre("message flags 1300 source 0 code 5 language 1033 size 0 arguments 0",
                          "free the message"));
}

TEST_F(SystemErrorCalls, KeepAMessageOfAnyLengthWhole) {
  for (const std::size_t length : {123U, 124U, 125U, 1000U}) {
    setMessage(std::string(length, 'm'));
    EXPECT_EQ(systemErrorText(5).text(), "(5) " + std::string(length, 'm')) << length;
  }
}

TEST_F(SystemErrorCalls, AskNothingForCodeZero) {
  EXPECT_STREQ(systemErrorText(0).text(), "");
  EXPECT_THAT(played.calls, IsEmpty());
}

}  // namespace
