// Expands %NAME% from the POSIX environment.
#include <algorithm>
#include <cstdlib>
#include <new>
#include <string>
#include <string_view>

#include "platform/utf.h"
#include "platform/win32.h"

namespace {

using WideView = std::basic_string_view<WCHAR>;
using WideString = std::basic_string<WCHAR>;

// Appends the value of the variable `name`; false when there is none, and in a set-user-id
// program: whoever started it has no say in what it trusts.
bool appendVariable(const WideString& name, WideString& result) {
  const Platform::Utf8Text converted = Platform::duplicateAsUtf8(name.c_str());
  if (converted == nullptr) throw std::bad_alloc();
  const char* value = secure_getenv(converted.get());
  if (value == nullptr) return false;
  const Platform::WideText wideValue = Platform::duplicateAsWide(value);
  if (wideValue == nullptr) throw std::bad_alloc();
  result += wideValue.get();
  return true;
}

WideString expanded(WideView text) {
  WideString result;
  while (!text.empty()) {
    const std::size_t end = text.front() == u'%' ? text.find(u'%', 1) : WideView::npos;
    if (end != WideView::npos && appendVariable(WideString(text.substr(1, end - 1)), result)) {
      text.remove_prefix(end + 1);
      continue;
    }
    // Up to the next '%', which may begin a name.
    const std::size_t size = std::min(text.find(u'%', 1), text.size());
    result += text.substr(0, size);
    text.remove_prefix(size);
  }
  return result;
}

}  // namespace

DWORD ExpandEnvironmentStringsW(LPCWSTR text, LPWSTR buffer, DWORD size) {
  if (text == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  try {
    const WideString result = expanded(text);
    const std::size_t needed = result.size() + 1;
    if (buffer != nullptr && needed <= size) std::copy_n(result.c_str(), needed, buffer);
    return static_cast<DWORD>(needed);
  } catch (const std::bad_alloc&) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return 0;
  }
}
