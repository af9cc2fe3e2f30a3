// Tests reading keys and values of the registry: the real one on Windows.
#include "qutils/registry.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "plugin/error_chain.h"
#include "qutils/text_of.h"
#include "support/system_text.h"
#include "support/test_registry_key.h"

namespace {

using QUtils::CharString;
using QUtils::readRegistryValue;
using QUtils::RegistryKey;
using QUtils::RegistryValue;
using QUtils::registryValueToDword;
using QUtils::registryValueToString;
using QUtils::REGKEY_32BIT_VIEW;
using QUtils::REGKEY_READ;
using QUtils::REGKEY_WRITE;

constexpr const char* kMissingPath = "SOFTWARE\\mtllib\\nothing";

// An environment variable that is there on every system.
std::string pathVariable() {
  const char* value = std::getenv("PATH");
  return value != nullptr ? value : "";
}

class Registry : public testing::Test {
 protected:
  Registry() { EXPECT_EQ(textOf(key_.open(root_, path_.c_str(), REGKEY_READ)), "No error"); }
  ~Registry() override { TestRegistryKey::deleteKey(("SOFTWARE\\" + name_).c_str()); }

  // Reads the value "Value".
  std::string read() { return textOf(readRegistryValue(key_, "Value", value_)); }

  // Reads the value "Value" as a text.
  std::string readText() {
    EXPECT_EQ(read(), "No error");
    CharString text("old");
    EXPECT_EQ(registryValueToString(value_, text), 0);
    return text.text();
  }

  // Of the test's own, for tests that run at the same time.
  const std::string name_ =
      std::string("mtllib ") + testing::UnitTest::GetInstance()->current_test_info()->name();
  const std::string path_ = "SOFTWARE\\" + name_ + "\\registry";
  TestRegistryKey writer_{path_.c_str()};
  const RegistryKey root_{HKEY_CURRENT_USER};
  RegistryKey key_;
  RegistryValue value_;
};

using RegistryKeyOpen = Registry;
using ReadRegistryValue = Registry;
using RegistryValueToString = Registry;
using RegistryValueToDword = Registry;

TEST_F(RegistryKeyOpen, AKeyStartsClosedAndNotPredefined) {
  const RegistryKey key;
  EXPECT_EQ(key.predefined, 0U);
  EXPECT_EQ(key.openFlags, 0U);
  EXPECT_EQ(key.hkey, nullptr);
}

TEST_F(RegistryKeyOpen, ARootKeyIsPredefinedAndNotOpen) {
  EXPECT_EQ(root_.predefined, 1U);
  EXPECT_EQ(root_.openFlags, 0U);
  EXPECT_EQ(root_.hkey, HKEY_CURRENT_USER);
}

TEST_F(RegistryKeyOpen, OpensBelowARootKeyAndKeepsTheFlags) {
  EXPECT_EQ(key_.predefined, 0U);
  EXPECT_EQ(key_.openFlags, 1U);
  EXPECT_NE(key_.hkey, nullptr);
}

TEST_F(RegistryKeyOpen, OpensBelowAnOpenKey) {
  RegistryKey parent;
  ASSERT_EQ(textOf(parent.open(root_, "SOFTWARE", REGKEY_READ)), "No error");
  RegistryKey child;
  EXPECT_EQ(textOf(child.open(parent, (name_ + "\\registry").c_str(), REGKEY_READ)), "No error");
  writer_.setNumber("Value", 7);
  EXPECT_EQ(textOf(readRegistryValue(child, "Value", value_)), "No error");
}

TEST_F(RegistryKeyOpen, TakesNamesInUpperAndLowerCaseForTheSame) {
  RegistryKey key;
  const std::string path = "software\\" + name_ + "\\REGISTRY";
  EXPECT_EQ(textOf(key.open(root_, path.c_str(), REGKEY_READ)), "No error");
}

TEST_F(RegistryKeyOpen, OpensForReadingAndWriting) {
  RegistryKey key;
  ASSERT_EQ(textOf(key.open(root_, path_.c_str(), REGKEY_READ | REGKEY_WRITE)), "No error");
  EXPECT_EQ(key.openFlags, 3U);
  const DWORD number = 5;
  EXPECT_EQ(RegSetValueExW(key.hkey, Platform::duplicateAsWide("Value").get(), 0, REG_DWORD,
                           reinterpret_cast<const BYTE*>(&number), sizeof(number)),
            0);
  EXPECT_EQ(textOf(readRegistryValue(key, "Value", value_)), "No error");
}

TEST_F(RegistryKeyOpen, AKeyOpenedForReadingCannotBeWritten) {
  const DWORD number = 5;
  EXPECT_EQ(RegSetValueExW(key_.hkey, Platform::duplicateAsWide("Value").get(), 0, REG_DWORD,
                           reinterpret_cast<const BYTE*>(&number), sizeof(number)),
            5);
}

TEST_F(RegistryKeyOpen, AKeyOpenedForWritingCannotBeRead) {
  RegistryKey key;
  ASSERT_EQ(textOf(key.open(root_, path_.c_str(), REGKEY_WRITE)), "No error");
  const Platform::WideText name = Platform::duplicateAsWide("Value");
  EXPECT_EQ(
      RegSetValueExW(key.hkey, name.get(), 0, REG_BINARY, reinterpret_cast<const BYTE*>("a"), 1),
      0);
  EXPECT_EQ(RegQueryValueExW(key.hkey, name.get(), nullptr, nullptr, nullptr, nullptr), 5);
  HKEY child = nullptr;
  EXPECT_EQ(RegCreateKeyExW(key.hkey, Platform::duplicateAsWide("child").get(), 0, nullptr,
                            REG_OPTION_NON_VOLATILE, KEY_READ, nullptr, &child, nullptr),
            0);
  RegCloseKey(child);
}

TEST_F(RegistryKeyOpen, OpensKeysWithNamesBeyondAscii) {
  const std::string path = path_ + "\\Gr\xC3\xB6\xC3\x9F e \xE6\x9D\x90";
  const TestRegistryKey named(path.c_str());
  RegistryKey key;
  EXPECT_EQ(textOf(key.open(root_, path.c_str(), REGKEY_READ)), "No error");
}

TEST_F(RegistryKeyOpen, WithoutFlagsOnlyLooksForTheKey) {
  RegistryKey key;
  EXPECT_EQ(textOf(key.open(root_, path_.c_str(), 0)), "No error");
  EXPECT_EQ(key.openFlags, 0U);
  EXPECT_EQ(errorCode(key.open(root_, kMissingPath, 0), 0), 2);
  EXPECT_EQ(textOf(key_.open(root_, path_.c_str(), 0)), "No error");
  EXPECT_EQ(read(), "[QUtils::readRegistryValue] -1: Invalid registry key");
}

TEST_F(RegistryKeyOpen, KeepsFlagsThatAskForNothing) {
  RegistryKey key;
  ASSERT_EQ(textOf(key.open(root_, path_.c_str(), 0x8U | REGKEY_READ)), "No error");
  EXPECT_EQ(key.openFlags, 9U);
}

TEST_F(RegistryKeyOpen, ClosesTheKeyAtItsEnd) {
  HKEY handle = nullptr;
  {
    RegistryKey key;
    ASSERT_EQ(textOf(key.open(root_, path_.c_str(), REGKEY_READ)), "No error");
    handle = key.hkey;
  }
  EXPECT_EQ(RegQueryValueExW(handle, nullptr, nullptr, nullptr, nullptr, nullptr), 6);
}

TEST_F(RegistryKeyOpen, OpensTheViewOf32BitPrograms) {
  RegistryKey key;
  ASSERT_EQ(textOf(key.open(root_, path_.c_str(), REGKEY_READ | REGKEY_32BIT_VIEW)), "No error");
  EXPECT_EQ(key.openFlags, 5U);
}

TEST_F(RegistryKeyOpen, RefusesAnEmptyPathBeforeItLooksAtTheBaseKey) {
  RegistryKey key;
  const RegistryKey unopened;
  const std::string expected =
      "[QUtils::RegistryKey::open] -1: Can not key with empty sub key path";
  EXPECT_EQ(textOf(key.open(unopened, "", REGKEY_READ)), expected);
  EXPECT_EQ(textOf(key.open(root_, "", REGKEY_READ)), expected);
}

TEST_F(RegistryKeyOpen, RefusesAnAbsentPath) {
  RegistryKey key;
  EXPECT_EQ(textOf(key.open(root_, nullptr, REGKEY_READ)),
            "[QUtils::RegistryKey::open] -1: Can not key with empty sub key path");
}

TEST_F(RegistryKeyOpen, RefusesABaseKeyThatIsNeitherOpenNorPredefined) {
  RegistryKey key;
  EXPECT_EQ(textOf(key.open(RegistryKey(), path_.c_str(), REGKEY_READ)),
            "[QUtils::RegistryKey::open] -2: Can not open a key with invalid base key (not opened "
            "or is not predefined)");
}

TEST_F(RegistryKeyOpen, LeavesAnOpenKeyAloneWhenItsArgumentsAreRefused) {
  EXPECT_TRUE(key_.open(root_, "", REGKEY_READ));
  EXPECT_TRUE(key_.open(RegistryKey(), path_.c_str(), REGKEY_READ));
  writer_.setNumber("Value", 7);
  EXPECT_EQ(read(), "No error");
}

TEST_F(RegistryKeyOpen, ReportsAKeyThatDoesNotExist) {
  RegistryKey key;
  EXPECT_EQ(textOf(key.open(root_, "SOFTWARE\\mtllib\\%s \xC3\xB6", REGKEY_READ)),
            "[QUtils::RegistryKey::open] 2: Failed to open registry sub key: "
            "SOFTWARE\\mtllib\\%s \xC3\xB6");
  EXPECT_EQ(textOf(key.open(root_, kMissingPath, REGKEY_READ)),
            "[QUtils::RegistryKey::open] 2: Failed to open registry sub key: "
            "SOFTWARE\\mtllib\\nothing");
  EXPECT_EQ(key.openFlags, 0U);
}

TEST_F(RegistryKeyOpen, ClosesWhatWasOpenBeforeItFails) {
  EXPECT_EQ(textOf(key_.open(root_, kMissingPath, REGKEY_READ)),
            "[QUtils::RegistryKey::open] 2: Failed to open registry sub key: "
            "SOFTWARE\\mtllib\\nothing");
  EXPECT_EQ(key_.openFlags, 0U);
  EXPECT_EQ(read(), "[QUtils::readRegistryValue] -1: Invalid registry key");
}

TEST_F(RegistryKeyOpen, OpensAnotherKeyInPlaceOfTheOpenOne) {
  const std::string path = "SOFTWARE\\" + name_ + "\\other";
  TestRegistryKey other(path.c_str());
  other.setNumber("Value", 8);
  writer_.setNumber("Value", 7);
  ASSERT_EQ(textOf(key_.open(root_, path.c_str(), REGKEY_READ)), "No error");
  EXPECT_EQ(read(), "No error");
  EXPECT_EQ(value_.number, 8U);
}

TEST_F(RegistryKeyOpen, AKeyCannotBeItsOwnBase) {
  EXPECT_EQ(textOf(key_.open(key_, "below", REGKEY_READ)),
            "[QUtils::RegistryKey::open] 6: Failed to open registry sub key: below");
  EXPECT_EQ(key_.openFlags, 0U);
}

TEST_F(RegistryKeyOpen, AKeyThatHeldARootIsAnOrdinaryOneOnceOpened) {
  RegistryKey key(HKEY_CURRENT_USER);
  ASSERT_EQ(textOf(key.open(root_, path_.c_str(), REGKEY_READ)), "No error");
  EXPECT_EQ(key.predefined, 0U);
  key.close();
  RegistryKey child;
  EXPECT_EQ(errorCode(child.open(key, "below", REGKEY_READ), 0), -2);
}

TEST_F(RegistryKeyOpen, ClosingTwiceOrARootDoesNothing) {
  key_.close();
  key_.close();
  EXPECT_EQ(key_.openFlags, 0U);
  RegistryKey root(HKEY_CURRENT_USER);
  root.close();
  EXPECT_EQ(root.hkey, HKEY_CURRENT_USER);
}

TEST_F(ReadRegistryValue, ReadsADword) {
  writer_.setNumber("Value", 0x89ABCDEF);
  EXPECT_EQ(read(), "No error");
  EXPECT_EQ(value_.type, 4U);
  EXPECT_EQ(value_.size, 4U);
  EXPECT_EQ(value_.number, 0x89ABCDEFU);
  EXPECT_EQ(value_.data, nullptr);
}

TEST_F(ReadRegistryValue, ARecordStartsAllZero) {
  EXPECT_EQ(value_.type, 0U);
  EXPECT_EQ(value_.size, 0U);
  EXPECT_EQ(value_.number, 0U);
  EXPECT_EQ(value_.data, nullptr);
}

TEST_F(ReadRegistryValue, ANumberLeavesTheDataOfTheReadBefore) {
  writer_.setText("Value", "ab");
  EXPECT_EQ(read(), "No error");
  writer_.setNumber("Value", 7);
  EXPECT_EQ(read(), "No error");
  EXPECT_EQ(value_.type, 4U);
  EXPECT_EQ(value_.number, 7U);
  EXPECT_EQ(std::memcmp(value_.data.get(), "a\0b\0\0", 6), 0);
}

TEST_F(ReadRegistryValue, ReadsAQword) {
  const std::uint64_t number = 0x0123456789ABCDEF;
  writer_.set("Value", REG_QWORD, &number, sizeof(number));
  EXPECT_EQ(read(), "No error");
  EXPECT_EQ(value_.type, 11U);
  EXPECT_EQ(value_.size, 8U);
  EXPECT_EQ(value_.number, number);
}

TEST_F(ReadRegistryValue, ADwordLeavesNothingOfAnEarlierQword) {
  value_.number = ~std::uint64_t{0};
  writer_.setNumber("Value", 1);
  EXPECT_EQ(read(), "No error");
  EXPECT_EQ(value_.number, 1U);
}

TEST_F(ReadRegistryValue, ADwordOfTooFewBytesIsFilledUp) {
  value_.number = ~std::uint64_t{0};
  writer_.set("Value", REG_DWORD, "\x01\x02", 2);
  EXPECT_EQ(read(), "No error");
  EXPECT_EQ(value_.size, 2U);
  EXPECT_EQ(value_.number, 0x201U);
  writer_.set("Value", REG_DWORD, "", 0);
  EXPECT_EQ(read(), "No error");
  EXPECT_EQ(value_.size, 0U);
  EXPECT_EQ(value_.number, 0U);
}

TEST_F(ReadRegistryValue, ReportsANumberOfTooManyBytes) {
  writer_.set("Value", REG_DWORD, "123456789", 9);
  EXPECT_EQ(read(),
            "[QUtils::readRegistryValue] 234: Error in registry value read of Value ((234) " +
                systemText(234, "More data is available.\r\n") + ")");
  EXPECT_EQ(value_.type, 0U);
  EXPECT_EQ(value_.number, 0U);
}

TEST_F(ReadRegistryValue, ReadsATextWithItsTerminator) {
  writer_.setText("Value", "ab");
  EXPECT_EQ(read(), "No error");
  EXPECT_EQ(value_.type, 1U);
  EXPECT_EQ(value_.size, 6U);
  EXPECT_EQ(std::memcmp(value_.data.get(), "a\0b\0\0", 6), 0);
}

TEST_F(ReadRegistryValue, TerminatesATextStoredWithoutATerminator) {
  writer_.setText("Value", "ab", REG_SZ, false);
  EXPECT_EQ(read(), "No error");
  EXPECT_EQ(value_.size, 4U);
  EXPECT_EQ(std::memcmp(value_.data.get(), "a\0b\0\0", 6), 0);
}

TEST_F(ReadRegistryValue, TerminatesAnEmptyText) {
  writer_.set("Value", REG_SZ, "", 0);
  EXPECT_EQ(read(), "No error");
  EXPECT_EQ(value_.size, 0U);
  ASSERT_NE(value_.data, nullptr);
  EXPECT_EQ(std::memcmp(value_.data.get(), "\0", 2), 0);
}

TEST_F(ReadRegistryValue, ReadsBytesOfAnyOtherType) {
  for (const DWORD type : {DWORD{REG_BINARY}, DWORD{REG_NONE}, DWORD{REG_MULTI_SZ}, DWORD{99}}) {
    writer_.set("Value", type, "\1\2\3", 3);
    EXPECT_EQ(read(), "No error") << type;
    EXPECT_EQ(value_.type, type);
    EXPECT_EQ(value_.size, 3U) << type;
    EXPECT_EQ(std::memcmp(value_.data.get(), "\1\2\3", 3), 0) << type;
  }
}

TEST_F(ReadRegistryValue, ReplacesTheDataOfTheReadBefore) {
  writer_.setText("Value", "a long text");
  EXPECT_EQ(readText(), "a long text");
  writer_.setText("Value", "b");
  EXPECT_EQ(readText(), "b");
}

TEST_F(ReadRegistryValue, ReadsTheDefaultValue) {
  writer_.setText("", "default");
  EXPECT_EQ(textOf(readRegistryValue(key_, "", value_)), "No error");
  EXPECT_EQ(value_.size, 16U);
}

TEST_F(ReadRegistryValue, TakesNamesInUpperAndLowerCaseForTheSame) {
  writer_.setNumber("vALUE", 3);
  EXPECT_EQ(read(), "No error");
  EXPECT_EQ(value_.number, 3U);
}

TEST_F(ReadRegistryValue, ReadsNamesBeyondAscii) {
  writer_.setNumber(
      "Gr\xC3\xB6\xC3\x9F"
      "e \xE6\x9D\x90",
      4);
  EXPECT_EQ(textOf(readRegistryValue(key_,
                                     "Gr\xC3\xB6\xC3\x9F"
                                     "e \xE6\x9D\x90",
                                     value_)),
            "No error");
  EXPECT_EQ(value_.number, 4U);
}

TEST_F(ReadRegistryValue, ReportsAValueThatDoesNotExist) {
  EXPECT_EQ(textOf(readRegistryValue(key_, "Nothing %s", value_)),
            "[QUtils::readRegistryValue] 2: Error in registry value query of Nothing %s ((2) " +
                systemText(2, "The system cannot find the file specified.\r\n") + ")");
}

TEST_F(ReadRegistryValue, LeavesTheValueAloneOnFailure) {
  writer_.setText("Value", "kept");
  EXPECT_EQ(readText(), "kept");
  EXPECT_TRUE(readRegistryValue(key_, "Nothing", value_));
  CharString text;
  EXPECT_EQ(registryValueToString(value_, text), 0);
  EXPECT_STREQ(text.text(), "kept");
}

TEST_F(ReadRegistryValue, RefusesAKeyThatWasNeverOpened) {
  EXPECT_EQ(textOf(readRegistryValue(RegistryKey(), "Value", value_)),
            "[QUtils::readRegistryValue] -1: Invalid registry key");
}

TEST_F(ReadRegistryValue, RefusesARootKey) {
  EXPECT_EQ(textOf(readRegistryValue(root_, "Value", value_)),
            "[QUtils::readRegistryValue] -1: Invalid registry key");
}

TEST_F(ReadRegistryValue, RefusesAKeyOpenedForWritingOnly) {
  ASSERT_EQ(textOf(key_.open(root_, path_.c_str(), REGKEY_WRITE)), "No error");
  EXPECT_EQ(key_.openFlags, 2U);
  EXPECT_EQ(read(), "[QUtils::readRegistryValue] -1: Invalid registry key");
}

TEST_F(ReadRegistryValue, RefusesAClosedKey) {
  key_.close();
  EXPECT_EQ(read(), "[QUtils::readRegistryValue] -1: Invalid registry key");
}

TEST_F(ReadRegistryValue, ReadsOneOfTheStatesOfAValueThatChangesMeanwhile) {
  const std::string longText(3000, 'l');
  writer_.setText("Value", "short");
  std::atomic<bool> done{false};
  std::thread writer([&] {
    TestRegistryKey own(path_.c_str());
    while (!done) {
      own.setText("Value", longText);
      own.setNumber("Value", 42);
      own.setText("Value", "short", REG_EXPAND_SZ, false);
    }
  });
  for (int i = 0; i < 3000; ++i) {
    const ErrorChain error = readRegistryValue(key_, "Value", value_);
    if (error) {
      ASSERT_EQ(errorCode(error, 0), 234);
      continue;
    }
    CharString text;
    if (registryValueToString(value_, text) == 0) {
      ASSERT_TRUE(text == "short" || text == longText.c_str()) << text.text();
    } else {
      ASSERT_EQ(value_.type, 4U);
      ASSERT_EQ(value_.number, 42U);
    }
  }
  done = true;
  writer.join();
}

TEST_F(RegistryValueToDword, GivesTheNumber) {
  writer_.setNumber("Value", 0xFFFFFFFE);
  EXPECT_EQ(read(), "No error");
  std::uint32_t number = 0;
  EXPECT_EQ(registryValueToDword(value_, number), 0);
  EXPECT_EQ(number, 0xFFFFFFFEU);
}

TEST_F(RegistryValueToDword, RefusesOtherTypes) {
  std::uint32_t number = 77;
  writer_.setText("Value", "1");
  EXPECT_EQ(read(), "No error");
  EXPECT_EQ(registryValueToDword(value_, number), 1);
  const std::uint64_t one = 1;
  writer_.set("Value", REG_QWORD, &one, sizeof(one));
  EXPECT_EQ(read(), "No error");
  EXPECT_EQ(registryValueToDword(value_, number), 1);
  EXPECT_EQ(number, 77U);
}

TEST_F(RegistryValueToString, GivesAText) {
  writer_.setText("Value", "proxy:8080");
  EXPECT_EQ(readText(), "proxy:8080");
}

TEST_F(RegistryValueToString, GivesUtf8) {
  writer_.setText("Value", "a\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(readText(), "a\xE2\x82\xAC\xF0\x9F\x98\x80");
}

TEST_F(RegistryValueToString, GivesATextStoredWithoutATerminator) {
  writer_.setText("Value", "proxy:8080", REG_SZ, false);
  EXPECT_EQ(readText(), "proxy:8080");
}

TEST_F(RegistryValueToString, EndsATextAtItsFirstTerminator) {
  writer_.set("Value", REG_SZ, "a\0\0\0b\0\0", 8);
  EXPECT_EQ(readText(), "a");
}

TEST_F(RegistryValueToString, DropsHalfAUnitAtTheEnd) {
  writer_.set("Value", REG_SZ, "a\0b\0c", 5);
  EXPECT_EQ(readText(), "ab");
  writer_.set("Value", REG_SZ, "a", 1);
  EXPECT_EQ(readText(), "");
}

TEST_F(RegistryValueToString, DoesNotExpandAnOrdinaryText) {
  writer_.setText("Value", "%PATH%");
  EXPECT_EQ(readText(), "%PATH%");
}

TEST_F(RegistryValueToString, ExpandsEnvironmentVariables) {
  writer_.setText("Value", "<%PATH%>", REG_EXPAND_SZ);
  EXPECT_EQ(readText(), "<" + pathVariable() + ">");
}

TEST_F(RegistryValueToString, ExpandsATextStoredWithoutATerminator) {
  writer_.setText("Value", "<%PATH%>", REG_EXPAND_SZ, false);
  EXPECT_EQ(readText(), "<" + pathVariable() + ">");
}

TEST_F(RegistryValueToString, ExpandsAnEmptyText) {
  writer_.setText("Value", "", REG_EXPAND_SZ);
  EXPECT_EQ(readText(), "");
}

TEST_F(RegistryValueToString, LeavesUnknownEnvironmentVariablesAlone) {
  writer_.setText("Value", "%MTLLIB_NO_SUCH_VARIABLE% 100%", REG_EXPAND_SZ);
  EXPECT_EQ(readText(), "%MTLLIB_NO_SUCH_VARIABLE% 100%");
}

TEST_F(RegistryValueToString, RefusesOtherTypes) {
  CharString text("old");
  writer_.setNumber("Value", 1);
  EXPECT_EQ(read(), "No error");
  EXPECT_EQ(registryValueToString(value_, text), 1);
  writer_.set("Value", REG_BINARY, "a\0\0", 4);
  EXPECT_EQ(read(), "No error");
  EXPECT_EQ(registryValueToString(value_, text), 1);
  EXPECT_STREQ(text.text(), "old");
}

TEST_F(RegistryValueToString, RefusesATextWithoutData) {
  CharString text("old");
  for (const DWORD type : {DWORD{REG_SZ}, DWORD{REG_EXPAND_SZ}}) {
    writer_.set("Value", type, "", 0);
    EXPECT_EQ(read(), "No error");
    EXPECT_EQ(registryValueToString(value_, text), 2);
  }
  RegistryValue empty;
  empty.type = REG_SZ;
  EXPECT_EQ(registryValueToString(empty, text), 2);
  EXPECT_STREQ(text.text(), "old");
}

}  // namespace
