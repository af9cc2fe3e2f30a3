// The Windows implementation of system_calls.h.
#include <cstdint>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include "mtlhost/system.h"
#include "platform/win32.h"
#include "platform/windows/wide_text.h"
#include "system_calls.h"

namespace mtlhost {

namespace {

/// A file with a bare name may be anywhere.
bool isBareName(const std::wstring& file) {
  return file.find(L'\\') == file.npos;
}

std::string loadProblem(const std::string& file, const std::wstring& wide, DWORD code) {
  // The same code for the file itself and for one that it imports.
  if (code == ERROR_MOD_NOT_FOUND && !isBareName(wide) &&
      GetFileAttributesW(wide.c_str()) != INVALID_FILE_ATTRIBUTES) {
    return file + ": a library that it needs could not be found";
  }
  std::string text = systemErrorText(static_cast<int>(code));
  constexpr std::string_view kFileHere = "%1";
  const std::size_t at = text.find(kFileHere);
  if (at == text.npos) return file + ": " + text;
  return text.replace(at, kFileHere.size(), file);
}

}  // namespace

SharedLibrary::SharedLibrary(const std::string& file, std::string& problem) {
  const std::wstring wide =
      std::filesystem::path(Platform::wideOf(file)).make_preferred().wstring();
  // What it imports is beside it or belongs to the system: other folders are not searched.
  const DWORD besideIt = isBareName(wide) ? 0 : LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR;
  handle_.reset(LoadLibraryExW(wide.c_str(), nullptr, LOAD_LIBRARY_SEARCH_DEFAULT_DIRS | besideIt));
  if (handle_ == nullptr) problem = loadProblem(file, wide, GetLastError());
}

void SharedLibrary::Unload::operator()(void* handle) const {
  FreeLibrary(static_cast<HMODULE>(handle));
}

void* SharedLibrary::symbol(const char* name) const {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle_.get()), name));
}

std::string ownFolder() {
  HMODULE self = nullptr;
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<LPCWSTR>(ownFolder), &self);
  // As long as a name can be.
  std::wstring name(32768, L'\0');
  const DWORD length = GetModuleFileNameW(self, name.data(), static_cast<DWORD>(name.size()));
  name.resize(length);
  return Platform::utf8Of(std::filesystem::path(name).parent_path().wstring());
}

int windowsCode(const std::error_code& error) {
  if (error.category() == std::system_category()) return error.value();
  // Of the standard library's own, which has them where Windows has none that fits.
  constexpr std::pair<std::errc, int> kCodes[] = {
      {std::errc::no_space_on_device, ERROR_DISK_FULL},
      {std::errc::not_a_directory, ERROR_PATH_NOT_FOUND},
      {std::errc::no_such_file_or_directory, ERROR_PATH_NOT_FOUND},
      {std::errc::file_exists, ERROR_FILE_EXISTS},
      {std::errc::is_a_directory, ERROR_FILE_EXISTS},
      {std::errc::permission_denied, ERROR_ACCESS_DENIED},
      {std::errc::filename_too_long, ERROR_FILENAME_EXCED_RANGE},
  };
  for (const auto& [condition, code] : kCodes) {
    if (error == condition) return code;
  }
  return -1;
}

std::int64_t processId() {
  return GetCurrentProcessId();
}

}  // namespace mtlhost
