// Implements the calls of the registry in memory. The number of a handle is never used twice, so a
// closed handle is recognised.
#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "platform/posix/proxy_environment.h"
#include "platform/utf.h"
#include "platform/win32.h"

namespace {

using WideView = std::basic_string_view<WCHAR>;
using WideString = std::basic_string<WCHAR>;

constexpr LPCWSTR kInternetSettings =
    u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";

WCHAR lowerCase(WCHAR unit) {
  return unit >= u'A' && unit <= u'Z' ? static_cast<WCHAR>(unit - u'A' + u'a') : unit;
}

struct LessIgnoringCase {
  using is_transparent = void;
  bool operator()(WideView left, WideView right) const {
    return std::lexicographical_compare(
        left.begin(), left.end(), right.begin(), right.end(),
        [](WCHAR a, WCHAR b) { return lowerCase(a) < lowerCase(b); });
  }
};

struct Value {
  DWORD type = REG_NONE;
  std::string data;
};

struct Key {
  std::map<WideString, std::shared_ptr<Key>, LessIgnoringCase> subKeys;
  std::map<WideString, Value, LessIgnoringCase> values;
  /// Gives the key its first values when it is first opened.
  void (*fill)(Key& key) = nullptr;
  bool deleted = false;
};

void setText(Key& key, const WideString& name, const std::string& text) {
  const Platform::WideText wide = Platform::duplicateAsWide(text.c_str());
  if (wide == nullptr) throw std::bad_alloc();
  const std::size_t size = (WideView(wide.get()).size() + 1) * sizeof(WCHAR);
  key.values[name] = {REG_SZ, {reinterpret_cast<const char*>(wide.get()), size}};
}

void fillFromEnvironment(Key& key) {
  // Nor does whoever started a set-user-id program choose its proxy.
  const posix::InternetSettings settings =
      posix::internetSettingsFromEnvironment([](const char* name) { return secure_getenv(name); });
  const DWORD enable = settings.proxyEnable;
  key.values[u"ProxyEnable"] = {REG_DWORD,
                                {reinterpret_cast<const char*>(&enable), sizeof(enable)}};
  if (!settings.proxyServer.empty()) setText(key, u"ProxyServer", settings.proxyServer);
  if (!settings.proxyOverride.empty()) setText(key, u"ProxyOverride", settings.proxyOverride);
}

// Cuts the first name off `path`; empty at its end.
WideView nextName(WideView& path) {
  path.remove_prefix(std::min(path.find_first_not_of(u'\\'), path.size()));
  const WideView name = path.substr(0, path.find(u'\\'));
  path.remove_prefix(name.size());
  return name;
}

enum class IfMissing { kFail, kCreate };

// The key `path` below `key`; null when it is missing. `created` says whether it was created.
std::shared_ptr<Key> walk(std::shared_ptr<Key> key, WideView path, IfMissing ifMissing,
                          bool& created) {
  created = false;
  for (WideView name = nextName(path); !name.empty(); name = nextName(path)) {
    auto found = key->subKeys.find(name);
    created = found == key->subKeys.end();
    if (created) {
      if (ifMissing == IfMissing::kFail) return nullptr;
      found = key->subKeys.emplace(name, std::make_shared<Key>()).first;
    }
    key = found->second;
  }
  if (key->fill != nullptr) {
    key->fill(*key);
    key->fill = nullptr;  // Not before: where memory runs out, the next call fills it.
  }
  return key;
}

void markDeleted(Key& key) {
  for (const auto& [name, subKey] : key.subKeys)
    markDeleted(*subKey);
  key.subKeys.clear();
  key.values.clear();
  key.deleted = true;
}

WideView viewOf(LPCWSTR text) {
  return text != nullptr ? WideView(text) : WideView();
}

class Registry {
 public:
  Registry() {
    bool created = false;
    walk(currentUser_, kInternetSettings, IfMissing::kCreate, created)->fill = fillFromEnvironment;
  }

  /// The one of this process, and the lock that guards it.
  static Registry& instance() {
    static Registry registry;
    return registry;
  }
  std::mutex& mutex() { return mutex_; }

  /// Finds the key behind `handle`, which must be open with all rights of `access`.
  DWORD find(HKEY handle, REGSAM access, std::shared_ptr<Key>& key) const {
    if (handle == HKEY_CURRENT_USER) {
      key = currentUser_;
      return ERROR_SUCCESS;
    }
    const auto found = openKeys_.find(reinterpret_cast<std::uintptr_t>(handle));
    if (found == openKeys_.end()) return ERROR_INVALID_HANDLE;
    if (found->second.key->deleted) return ERROR_KEY_DELETED;
    if ((found->second.access & access) != access) return ERROR_ACCESS_DENIED;
    key = found->second.key;
    return ERROR_SUCCESS;
  }

  HKEY open(std::shared_ptr<Key> key, REGSAM access) {
    constexpr std::uintptr_t kStep = 4;
    openKeys_[lastHandle_ + kStep] = {std::move(key), access};
    lastHandle_ += kStep;
    return reinterpret_cast<HKEY>(lastHandle_);
  }

  DWORD close(HKEY handle) {
    if (handle == HKEY_CURRENT_USER) return ERROR_SUCCESS;
    const bool wasOpen = openKeys_.erase(reinterpret_cast<std::uintptr_t>(handle)) != 0;
    return wasOpen ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
  }

 private:
  struct OpenKey {
    std::shared_ptr<Key> key;
    REGSAM access = 0;
  };

  std::mutex mutex_;
  std::shared_ptr<Key> currentUser_ = std::make_shared<Key>();
  std::map<std::uintptr_t, OpenKey> openKeys_;
  std::uintptr_t lastHandle_ = 0;
};

// Runs `call` on the registry, alone; its result is the status.
template <typename Call>
LSTATUS withRegistry(Call call) {
  try {
    Registry& registry = Registry::instance();
    const std::lock_guard<std::mutex> lock(registry.mutex());
    return static_cast<LSTATUS>(call(registry));
  } catch (const std::bad_alloc&) {
    return static_cast<LSTATUS>(ERROR_NOT_ENOUGH_MEMORY);
  }
}

DWORD copyValue(const Value& value, DWORD* type, BYTE* data, DWORD* size) {
  if (type != nullptr) *type = value.type;
  if (size == nullptr) return ERROR_SUCCESS;
  const DWORD room = std::exchange(*size, static_cast<DWORD>(value.data.size()));
  if (data == nullptr) return ERROR_SUCCESS;
  if (room < value.data.size()) return ERROR_MORE_DATA;
  std::copy(value.data.begin(), value.data.end(), data);
  return ERROR_SUCCESS;
}

}  // namespace

LSTATUS RegOpenKeyExW(HKEY base, LPCWSTR path, DWORD /*options*/, REGSAM access, HKEY* result) {
  return withRegistry([&](Registry& registry) -> DWORD {
    if (result == nullptr) return ERROR_INVALID_PARAMETER;
    std::shared_ptr<Key> key;
    const DWORD error = registry.find(base, 0, key);
    if (error != ERROR_SUCCESS) return error;
    bool created = false;
    key = walk(key, viewOf(path), IfMissing::kFail, created);
    if (key == nullptr) return ERROR_FILE_NOT_FOUND;
    *result = registry.open(key, access);
    return ERROR_SUCCESS;
  });
}

LSTATUS RegCreateKeyExW(HKEY base, LPCWSTR path, DWORD /*reserved*/, LPWSTR /*keyClass*/,
                        DWORD /*options*/, REGSAM access, SECURITY_ATTRIBUTES* /*security*/,
                        HKEY* result, DWORD* disposition) {
  return withRegistry([&](Registry& registry) -> DWORD {
    if (result == nullptr) return ERROR_INVALID_PARAMETER;
    std::shared_ptr<Key> key;
    DWORD error = registry.find(base, 0, key);
    if (error != ERROR_SUCCESS) return error;
    bool created = false;
    std::shared_ptr<Key> found = walk(key, viewOf(path), IfMissing::kFail, created);
    if (found == nullptr) {
      error = registry.find(base, KEY_CREATE_SUB_KEY, key);
      if (error != ERROR_SUCCESS) return error;
      found = walk(key, viewOf(path), IfMissing::kCreate, created);
    }
    *result = registry.open(found, access);
    if (disposition != nullptr) {
      *disposition = created ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
    }
    return ERROR_SUCCESS;
  });
}

LSTATUS RegQueryValueExW(HKEY handle, LPCWSTR name, DWORD* reserved, DWORD* type, BYTE* data,
                         DWORD* size) {
  return withRegistry([&](Registry& registry) -> DWORD {
    if (reserved != nullptr || (data != nullptr && size == nullptr)) return ERROR_INVALID_PARAMETER;
    std::shared_ptr<Key> key;
    const DWORD error = registry.find(handle, KEY_QUERY_VALUE, key);
    if (error != ERROR_SUCCESS) return error;
    const auto found = key->values.find(viewOf(name));
    if (found == key->values.end()) return ERROR_FILE_NOT_FOUND;
    return copyValue(found->second, type, data, size);
  });
}

LSTATUS RegSetValueExW(HKEY handle, LPCWSTR name, DWORD /*reserved*/, DWORD type, const BYTE* data,
                       DWORD size) {
  return withRegistry([&](Registry& registry) -> DWORD {
    if (data == nullptr && size > 0) return ERROR_INVALID_PARAMETER;
    std::shared_ptr<Key> key;
    const DWORD error = registry.find(handle, KEY_SET_VALUE, key);
    if (error != ERROR_SUCCESS) return error;
    Value value = {type, {}};
    if (size > 0) value.data.assign(reinterpret_cast<const char*>(data), size);
    key->values.insert_or_assign(WideString(viewOf(name)), std::move(value));
    return ERROR_SUCCESS;
  });
}

LSTATUS RegDeleteValueW(HKEY handle, LPCWSTR name) {
  return withRegistry([&](Registry& registry) -> DWORD {
    std::shared_ptr<Key> key;
    const DWORD error = registry.find(handle, KEY_SET_VALUE, key);
    if (error != ERROR_SUCCESS) return error;
    const auto found = key->values.find(viewOf(name));
    if (found == key->values.end()) return ERROR_FILE_NOT_FOUND;
    key->values.erase(found);
    return ERROR_SUCCESS;
  });
}

// Only of a key below `base`: what Windows does without a path, emptying `base` itself, is
// not needed.
LSTATUS RegDeleteTreeW(HKEY base, LPCWSTR path) {
  return withRegistry([&](Registry& registry) -> DWORD {
    std::shared_ptr<Key> parent;
    const DWORD error = registry.find(base, 0, parent);
    if (error != ERROR_SUCCESS) return error;
    WideView rest = viewOf(path);
    WideView name = nextName(rest);
    if (name.empty()) return ERROR_INVALID_PARAMETER;
    auto found = parent->subKeys.find(name);
    while (found != parent->subKeys.end() && !(name = nextName(rest)).empty()) {
      parent = found->second;
      found = parent->subKeys.find(name);
    }
    if (found == parent->subKeys.end()) return ERROR_FILE_NOT_FOUND;
    markDeleted(*found->second);
    parent->subKeys.erase(found);
    return ERROR_SUCCESS;
  });
}

LSTATUS RegCloseKey(HKEY handle) {
  return withRegistry([&](Registry& registry) { return registry.close(handle); });
}
