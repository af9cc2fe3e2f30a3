// Keys of the current user's registry that tests write.
#ifndef MTLLIB_TESTS_SUPPORT_TEST_REGISTRY_KEY_H_
#define MTLLIB_TESTS_SUPPORT_TEST_REGISTRY_KEY_H_

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "platform/utf.h"
#include "platform/win32.h"

/// The path of the user's Internet settings.
constexpr const char* kInternetSettingsPath =
    "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";

/// A key below HKEY_CURRENT_USER, made if there is none. It stays when the object ends.
class TestRegistryKey {
 public:
  explicit TestRegistryKey(const char* path) {
    EXPECT_EQ(
        RegCreateKeyExW(HKEY_CURRENT_USER, Platform::duplicateAsWide(path).get(), 0, nullptr,
                        REG_OPTION_NON_VOLATILE, KEY_READ | KEY_WRITE, nullptr, &key_, nullptr),
        0);
  }
  ~TestRegistryKey() { RegCloseKey(key_); }
  TestRegistryKey(const TestRegistryKey&) = delete;
  TestRegistryKey& operator=(const TestRegistryKey&) = delete;

  /// Deletes a key with all that is in it. There may be none.
  static void deleteKey(const char* path) {
    RegDeleteTreeW(HKEY_CURRENT_USER, Platform::duplicateAsWide(path).get());
  }

  void set(const char* name, DWORD type, const void* data, std::size_t size) {
    EXPECT_EQ(RegSetValueExW(key_, Platform::duplicateAsWide(name).get(), 0, type,
                             static_cast<const BYTE*>(data), static_cast<DWORD>(size)),
              0);
  }
  void setNumber(const char* name, DWORD number) { set(name, REG_DWORD, &number, sizeof(number)); }

  /// `text` is UTF-8. Without a terminator the value ends with its last character.
  void setText(const char* name, const std::string& text, DWORD type = REG_SZ,
               bool terminated = true) {
    const Platform::WideText wide = Platform::duplicateAsWide(text.c_str());
    const std::size_t length = Platform::utf8ToWide(text.c_str(), nullptr, 0);
    // The system would store a terminator that it finds behind the text.
    if (!terminated) wide[length] = 'x';
    set(name, type, wide.get(), (length + (terminated ? 1 : 0)) * sizeof(WCHAR));
  }

  /// Makes sure that there is no such value.
  void remove(const char* name) { RegDeleteValueW(key_, Platform::duplicateAsWide(name).get()); }

 private:
  HKEY key_ = nullptr;
};

#endif  // MTLLIB_TESTS_SUPPORT_TEST_REGISTRY_KEY_H_
