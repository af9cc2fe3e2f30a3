// Reads values of the registry. Another program may change a value at any time, so size, type and
// content of a value come from one call.
#include "qutils/registry.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "plugin/error_chain.h"
#include "qutils/system_error.h"

namespace QUtils {
namespace {

constexpr const char* kOpenTag = "QUtils::RegistryKey::open";
constexpr const char* kReadTag = "QUtils::readRegistryValue";

REGSAM requestedAccess(std::uint32_t flags) {
  REGSAM access = 0;
  if ((flags & REGKEY_READ) != 0) access |= KEY_READ;
  if ((flags & REGKEY_WRITE) != 0) access |= KEY_WRITE;
  if ((flags & REGKEY_32BIT_VIEW) != 0) access |= KEY_WOW64_32KEY;
  return access;
}

bool isNumber(DWORD type) {
  return type == REG_DWORD || type == REG_QWORD;
}

bool isText(DWORD type) {
  return type == REG_SZ || type == REG_EXPAND_SZ;
}

// Terminates a text of `size` bytes in `room` bytes, which are at least 3 more: half a unit
// at its end is dropped.
void terminate(BYTE* text, std::size_t size, std::size_t room) {
  const std::size_t end = size - size % sizeof(WCHAR);
  std::memset(text + end, 0, room - end);
}

// Reads a value that was last seen with `expectedSize` bytes. One that has grown since does
// not fit, which is an error of the system.
DWORD readData(HKEY key, LPCWSTR name, DWORD expectedSize, RegistryValue& value) {
  const std::size_t room = std::size_t{expectedSize} + sizeof(WCHAR) + 1;
  std::unique_ptr<BYTE[], Platform::FreeWithQfree> data(static_cast<BYTE*>(qmalloc(room)));
  if (data == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
  DWORD type = REG_NONE;
  DWORD size = expectedSize;
  const auto status =
      static_cast<DWORD>(RegQueryValueExW(key, name, nullptr, &type, data.get(), &size));
  if (status != ERROR_SUCCESS) return status;
  if (isNumber(type)) {
    if (size > sizeof(value.number)) return ERROR_MORE_DATA;
    value.number = 0;
    std::memcpy(&value.number, data.get(), size);
  } else {
    if (isText(type)) terminate(data.get(), size, room);
    value.data = std::move(data);
  }
  value.type = type;
  value.size = size;
  return ERROR_SUCCESS;
}

Platform::WideText expandEnvironment(LPCWSTR text) {
  const DWORD size = ExpandEnvironmentStringsW(text, nullptr, 0);
  if (size < 1) return nullptr;
  Platform::WideText expanded(static_cast<WCHAR*>(qmalloc(std::size_t{size} * sizeof(WCHAR))));
  if (expanded == nullptr) return nullptr;
  // A variable that changed in between gives a text that is no longer as long.
  const DWORD needed = ExpandEnvironmentStringsW(text, expanded.get(), size);
  return needed >= 1 && needed <= size ? std::move(expanded) : nullptr;
}

}  // namespace

ErrorChain RegistryKey::open(const RegistryKey& baseKey, const char* subKeyPath,
                             std::uint32_t flags) {
  if (subKeyPath == nullptr || *subKeyPath == '\0') {
    return makeError(kOpenTag, -1, "Can not key with empty sub key path");
  }
  if (baseKey.openFlags == 0 && baseKey.predefined == 0) {
    return makeError(kOpenTag, -2,
                     "Can not open a key with invalid base key (not opened or is not predefined)");
  }
  close();
  const Platform::WideText path = Platform::duplicateAsWide(subKeyPath);
  HKEY opened = nullptr;
  const auto status = path == nullptr
                          ? DWORD{ERROR_NOT_ENOUGH_MEMORY}
                          : static_cast<DWORD>(RegOpenKeyExW(baseKey.hkey, path.get(), 0,
                                                             requestedAccess(flags), &opened));
  if (status != ERROR_SUCCESS) {
    return makeError(kOpenTag, static_cast<std::int32_t>(status),
                     "Failed to open registry sub key: %s", subKeyPath);
  }
  if (flags == 0) {
    RegCloseKey(opened);
    return {};
  }
  predefined = 0;
  openFlags = flags;
  hkey = opened;
  return {};
}

void RegistryKey::close() {
  if (openFlags == 0) return;
  RegCloseKey(hkey);
  hkey = nullptr;
  openFlags = 0;
}

ErrorChain readRegistryValue(const RegistryKey& key, const char* valueName, RegistryValue& value) {
  if ((key.openFlags & REGKEY_READ) == 0) return makeError(kReadTag, -1, "Invalid registry key");
  const char* shownName = valueName != nullptr ? valueName : "";
  const Platform::WideText name = Platform::duplicateAsWide(shownName);
  DWORD type = REG_NONE;
  DWORD size = 0;
  auto status = name == nullptr ? DWORD{ERROR_NOT_ENOUGH_MEMORY}
                                : static_cast<DWORD>(RegQueryValueExW(key.hkey, name.get(), nullptr,
                                                                      &type, nullptr, &size));
  if (status != ERROR_SUCCESS) {
    return makeError(kReadTag, static_cast<std::int32_t>(status),
                     "Error in registry value query of %s (%s)", shownName,
                     systemErrorText(status).text());
  }
  status = readData(key.hkey, name.get(), size, value);
  if (status != ERROR_SUCCESS) {
    return makeError(kReadTag, static_cast<std::int32_t>(status),
                     "Error in registry value read of %s (%s)", shownName,
                     systemErrorText(status).text());
  }
  return {};
}

int registryValueToDword(const RegistryValue& value, std::uint32_t& out) {
  if (value.type != REG_DWORD) return 1;
  std::memcpy(&out, &value.number, sizeof(out));
  return 0;
}

int registryValueToString(const RegistryValue& value, CharString& out) {
  if (!isText(value.type)) return 1;
  if (value.data == nullptr || value.size == 0) return 2;
  auto text = reinterpret_cast<LPCWSTR>(value.data.get());
  Platform::WideText expanded;
  if (value.type == REG_EXPAND_SZ) {
    expanded = expandEnvironment(text);
    if (expanded == nullptr) return 3;
    text = expanded.get();
  }
  out = Platform::wideToCharString(text);
  return out.empty() && *text != 0 ? 3 : 0;
}

}  // namespace QUtils
