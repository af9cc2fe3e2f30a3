// The Windows implementation of system.h. Paths are absolute there, so the folders on the way to a
// file are held open during an operation, with sharing modes that keep others from replacing them.
#include "platform/win32.h"
// After the above, whose types it needs.
#include <winioctl.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <limits>
#include <mutex>
#include <utility>

#include "platform/windows/wide_text.h"
#include "update/system.h"

namespace mtlupdate {

namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

std::error_code errorOf(DWORD code) {
  return {static_cast<int>(code), std::system_category()};
}

std::error_code lastError() {
  return errorOf(GetLastError());
}

std::error_code resultOf(BOOL succeeded) {
  return succeeded != FALSE ? std::error_code() : lastError();
}

bool is(const std::error_code& error, DWORD code) {
  return error == errorOf(code);
}

bool isAbsence(const std::error_code& error) {
  return is(error, ERROR_FILE_NOT_FOUND) || is(error, ERROR_PATH_NOT_FOUND);
}

/// Closed by the destructor.
class Handle {
 public:
  explicit Handle(HANDLE handle = INVALID_HANDLE_VALUE) : handle_(handle) {}
  ~Handle() {
    if (isOpen()) CloseHandle(handle_);
  }
  Handle(Handle&& other) noexcept : handle_(std::exchange(other.handle_, INVALID_HANDLE_VALUE)) {}
  Handle& operator=(Handle&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }

  HANDLE get() const { return handle_; }
  bool isOpen() const { return handle_ != INVALID_HANDLE_VALUE; }

 private:
  HANDLE handle_;
};

std::uint64_t numberOf(DWORD high, DWORD low) {
  return (static_cast<std::uint64_t>(high) << 32U) | low;
}

/// Windows counts in tenths of a microsecond. What has a number of its own costs an open file to
/// ask for, so it goes without.
FileIdentity identityOf(DWORD sizeHigh, DWORD sizeLow, const FILETIME& written) {
  const std::uint64_t ticks = numberOf(written.dwHighDateTime, written.dwLowDateTime);
  return {numberOf(sizeHigh, sizeLow), static_cast<std::int64_t>(ticks), 0};
}

/// Whether the reparse point of the name leads elsewhere, as links and mounted folders do; others
/// are files of a special kind.
bool isLink(const std::wstring& path, DWORD attributes) {
  if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) return false;
  WIN32_FIND_DATAW data{};
  const HANDLE search = FindFirstFileW(path.c_str(), &data);
  if (search == INVALID_HANDLE_VALUE) return true;
  FindClose(search);
  return IsReparseTagNameSurrogate(data.dwReserved0) != 0;
}

FileKind kindOf(const std::wstring& path, DWORD attributes) {
  if (isLink(path, attributes)) return FileKind::kLink;
  if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return FileKind::kFolder;
  return (attributes & FILE_ATTRIBUTE_DEVICE) != 0 ? FileKind::kOther : FileKind::kFile;
}

/// The name in the form whose length has no limit.
std::error_code wholeName(const std::string& name, std::wstring& whole) {
  const std::wstring wide = Platform::wideOf(name);
  const DWORD size = GetFullPathNameW(wide.c_str(), 0, nullptr, nullptr);
  if (size == 0) return lastError();
  whole.resize(size);
  whole.resize(GetFullPathNameW(wide.c_str(), size, whole.data(), nullptr));
  while (!whole.empty() && whole.back() == L'\\')
    whole.pop_back();
  if (whole.compare(0, 4, L"\\\\?\\") == 0) return {};
  const bool isShare = whole.compare(0, 2, L"\\\\") == 0;
  whole = isShare ? L"\\\\?\\UNC" + whole.substr(1) : L"\\\\?\\" + whole;
  return {};
}

/// Replaces also a file that is open, if that allows for its removal, where the system and the file
/// system know how.
bool replaceOpen(const std::wstring& from, const std::wstring& to) {
  constexpr auto kRenameInfoEx = static_cast<FILE_INFO_BY_HANDLE_CLASS>(22);
  constexpr DWORD kReplaceIfExists = 1;
  constexpr DWORD kPosixSemantics = 2;
  const Handle handle(CreateFileW(from.c_str(), DELETE, kShareAll, nullptr, OPEN_EXISTING,
                                  FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  if (!handle.isOpen()) return false;
  const std::size_t bytes = to.size() * sizeof(wchar_t);
  std::vector<std::max_align_t> room((sizeof(FILE_RENAME_INFO) + bytes) / sizeof(std::max_align_t) +
                                     1);
  auto* const info = reinterpret_cast<FILE_RENAME_INFO*>(room.data());
  // The flags take the place of ReplaceIfExists, which older headers have alone.
  const DWORD flags = kReplaceIfExists | kPosixSemantics;
  std::memcpy(info, &flags, sizeof(flags));
  info->FileNameLength = static_cast<DWORD>(bytes);
  std::memcpy(info->FileName, to.data(), bytes);
  return SetFileInformationByHandle(handle.get(), kRenameInfoEx, info,
                                    static_cast<DWORD>(sizeof(FILE_RENAME_INFO) + bytes)) != FALSE;
}

}  // namespace

struct File::State {
  Handle handle;
};

File::File() = default;
File::~File() = default;
File::File(File&& other) noexcept = default;
File& File::operator=(File&& other) noexcept = default;

std::error_code File::read(char* buffer, std::size_t size, std::size_t& count) {
  constexpr std::size_t kMost = std::numeric_limits<DWORD>::max();
  DWORD got = 0;
  const BOOL succeeded = ReadFile(state_->handle.get(), buffer,
                                  static_cast<DWORD>(std::min(size, kMost)), &got, nullptr);
  count = got;
  return resultOf(succeeded);
}

std::error_code File::write(std::string_view bytes) {
  constexpr std::size_t kMost = 1U << 30U;
  while (!bytes.empty()) {
    DWORD count = 0;
    const auto size = static_cast<DWORD>(std::min(bytes.size(), kMost));
    if (WriteFile(state_->handle.get(), bytes.data(), size, &count, nullptr) == FALSE) {
      return lastError();
    }
    if (count == 0) return errorOf(ERROR_DISK_FULL);
    bytes.remove_prefix(count);
  }
  return {};
}

std::error_code File::cutAt(std::uint64_t size) {
  LARGE_INTEGER offset{};
  offset.QuadPart = static_cast<LONGLONG>(size);
  return resultOf(SetFilePointerEx(state_->handle.get(), offset, nullptr, FILE_BEGIN) != FALSE
                      ? SetEndOfFile(state_->handle.get())
                      : FALSE);
}

std::error_code File::identity(FileIdentity& identity) const {
  BY_HANDLE_FILE_INFORMATION information{};
  if (GetFileInformationByHandle(state_->handle.get(), &information) == FALSE) return lastError();
  identity =
      identityOf(information.nFileSizeHigh, information.nFileSizeLow, information.ftLastWriteTime);
  return {};
}

std::error_code File::close() {
  state_.reset();
  return {};
}

struct Folder::State {
  struct Open {
    std::string path;
    Handle handle;
  };

  std::wstring nameOf(std::string_view path) const {
    if (path.empty()) return root;
    std::wstring name = root + L'\\' + Platform::wideOf(path);
    std::replace(name.begin(), name.end(), L'/', L'\\');
    return name;
  }

  /// Holds the folder that contains `path`, and those on the way, until the next call at least.
  /// ERROR_DIRECTORY when one of them is something else; `blocked` is its path.
  std::error_code holdParents(std::string_view path) {
    const std::size_t end = path.rfind('/');
    const std::string_view name = path.substr(end == path.npos ? 0 : end + 1);
    // Only a path that is not plain has such a name.
    if (name.empty() || name == "." || name == "..") return errorOf(ERROR_INVALID_NAME);
    return end == path.npos ? std::error_code() : hold(path.substr(0, end));
  }

  std::error_code hold(std::string_view path) {
    if (path.empty()) return {};
    const auto known = std::find_if(open.begin(), open.end(),
                                    [&](const Open& other) { return other.path == path; });
    if (known != open.end()) {
      std::rotate(open.begin(), known, known + 1);
      return {};
    }
    if (const std::error_code error = holdParents(path)) return error;
    const std::wstring name = nameOf(path);
    Handle handle(CreateFileW(name.c_str(), FILE_LIST_DIRECTORY, FILE_SHARE_READ | FILE_SHARE_WRITE,
                              nullptr, OPEN_EXISTING,
                              FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    if (!handle.isOpen()) return lastError();
    BY_HANDLE_FILE_INFORMATION information{};
    if (GetFileInformationByHandle(handle.get(), &information) == FALSE) return lastError();
    if (kindOf(name, information.dwFileAttributes) != FileKind::kFolder) {
      blocked = path;
      return errorOf(ERROR_DIRECTORY);
    }
    if (open.size() == kMostOpen) open.pop_back();
    open.insert(open.begin(), {std::string(path), std::move(handle)});
    return {};
  }

  std::error_code openFile(std::string_view path, DWORD access, DWORD share, DWORD creation,
                           File& file) {
    if (const std::error_code error = holdParents(path)) return error;
    const std::wstring name = nameOf(path);
    Handle handle(CreateFileW(name.c_str(), access, share, nullptr, creation,
                              FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    if (!handle.isOpen()) return lastError();
    BY_HANDLE_FILE_INFORMATION information{};
    if (GetFileInformationByHandle(handle.get(), &information) == FALSE) return lastError();
    if (kindOf(name, information.dwFileAttributes) != FileKind::kFile) {
      return errorOf(ERROR_BAD_FILE_TYPE);
    }
    file.state_ = std::make_unique<File::State>(File::State{std::move(handle)});
    return {};
  }

  static constexpr std::size_t kMostOpen = 16;

  std::mutex mutex;
  std::wstring root;
  std::vector<Open> open;  // The last one used first.
  std::string blocked;
};

Folder::Folder() : state_(std::make_unique<State>()) {}
Folder::~Folder() = default;
Folder::Folder(Folder&& other) noexcept = default;
Folder& Folder::operator=(Folder&& other) noexcept = default;

std::error_code Folder::open(const std::string& name, bool create) {
  auto opened = std::make_unique<State>();
  std::error_code error = wholeName(name, opened->root);
  if (!error && create) std::filesystem::create_directories(Platform::wideOf(name), error);
  if (error) return error;
  const DWORD attributes = GetFileAttributesW((opened->root + L'\\').c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) return lastError();
  if ((attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) return errorOf(ERROR_DIRECTORY);
  state_ = std::move(opened);
  return {};
}

std::error_code Folder::look(std::string_view path, Look& found) {
  const std::lock_guard lock(state_->mutex);
  found = {};
  std::error_code error = state_->holdParents(path);
  found.lacksFolder = isAbsence(error);
  if (found.lacksFolder) return {};
  if (is(error, ERROR_DIRECTORY)) {
    found.blockedBy = state_->blocked;
    path = found.blockedBy;
  } else if (error) {
    return error;
  }
  const std::wstring name = state_->nameOf(path);
  WIN32_FILE_ATTRIBUTE_DATA data{};
  if (GetFileAttributesExW(name.c_str(), GetFileExInfoStandard, &data) == FALSE) {
    error = lastError();
    return isAbsence(error) ? std::error_code() : error;
  }
  found.kind = kindOf(name, data.dwFileAttributes);
  if (found.kind == FileKind::kFile) {
    found.identity = identityOf(data.nFileSizeHigh, data.nFileSizeLow, data.ftLastWriteTime);
  }
  return {};
}

std::error_code Folder::names(std::string_view path, std::vector<std::string>& names) {
  const std::lock_guard lock(state_->mutex);
  names.clear();
  if (const std::error_code error = state_->hold(path)) return error;
  WIN32_FIND_DATAW data{};
  const HANDLE search = FindFirstFileW((state_->nameOf(path) + L"\\*").c_str(), &data);
  if (search == INVALID_HANDLE_VALUE) return lastError();
  do {
    const std::string name = Platform::utf8Of(data.cFileName);
    if (name != "." && name != "..") names.push_back(name);
  } while (FindNextFileW(search, &data) != FALSE);
  const std::error_code error = lastError();
  FindClose(search);
  return is(error, ERROR_NO_MORE_FILES) ? std::error_code() : error;
}

std::error_code Folder::openToRead(std::string_view path, File& file) {
  const std::lock_guard lock(state_->mutex);
  return state_->openFile(path, GENERIC_READ, kShareAll, OPEN_EXISTING, file);
}

std::error_code Folder::openToAppend(std::string_view path, File& file) {
  const std::lock_guard lock(state_->mutex);
  const std::error_code error =
      state_->openFile(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, OPEN_ALWAYS, file);
  if (error) return error;
  LARGE_INTEGER none{};
  return resultOf(SetFilePointerEx(file.state_->handle.get(), none, nullptr, FILE_END));
}

std::error_code Folder::makeFile(std::string_view path, File& file) {
  const std::lock_guard lock(state_->mutex);
  const std::error_code error =
      state_->openFile(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, CREATE_NEW, file);
  return is(error, ERROR_FILE_EXISTS) ? std::make_error_code(std::errc::file_exists) : error;
}

std::error_code Folder::makeFolders(std::string_view path) {
  const std::lock_guard lock(state_->mutex);
  for (std::size_t end = 0; end < path.size(); ++end) {
    end = std::min(path.find('/', end), path.size());
    const std::string_view folder = path.substr(0, end);
    std::error_code error = state_->hold(folder);
    if (!error) continue;
    if (!isAbsence(error)) return error;
    error = resultOf(CreateDirectoryW(state_->nameOf(folder).c_str(), nullptr));
    if (error && !is(error, ERROR_ALREADY_EXISTS)) return error;
  }
  return state_->hold(path);
}

std::error_code Folder::replace(std::string_view from, std::string_view to) {
  const std::lock_guard lock(state_->mutex);
  std::error_code error = state_->holdParents(from);
  if (!error) error = state_->holdParents(to);
  if (error) return error;
  const std::wstring name = state_->nameOf(from);
  const std::wstring target = state_->nameOf(to);
  if (replaceOpen(name, target)) return {};
  return resultOf(MoveFileExW(name.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING));
}

std::error_code Folder::removeFile(std::string_view path) {
  const std::lock_guard lock(state_->mutex);
  std::error_code error = state_->holdParents(path);
  if (!error) error = resultOf(DeleteFileW(state_->nameOf(path).c_str()));
  return isAbsence(error) ? std::error_code() : error;
}

std::error_code Folder::removeFolder(std::string_view path) {
  const std::lock_guard lock(state_->mutex);
  state_->open.clear();  // Nobody can remove a folder that is held.
  std::error_code error = state_->holdParents(path);
  if (!error) error = resultOf(RemoveDirectoryW(state_->nameOf(path).c_str()));
  return isAbsence(error) || is(error, ERROR_DIR_NOT_EMPTY) ? std::error_code() : error;
}

std::error_code Folder::link(std::string_view /*from*/, std::string_view /*to*/) {
  return errorOf(ERROR_NOT_SUPPORTED);
}

std::error_code Folder::clone(std::string_view /*from*/, std::string_view /*to*/) {
  return errorOf(ERROR_NOT_SUPPORTED);
}

// The locked range is far beyond the number, which others may read.
std::error_code Folder::lock(std::string_view path, File& file, std::int64_t& holder) {
  const std::lock_guard lock(state_->mutex);
  holder = 0;
  std::error_code error =
      state_->openFile(path, GENERIC_READ | GENERIC_WRITE, kShareAll, OPEN_ALWAYS, file);
  if (error) return error;
  OVERLAPPED place{};
  place.Offset = 0x40000000;
  error =
      resultOf(LockFileEx(file.state_->handle.get(),
                          LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &place));
  if (!error) {
    error = file.cutAt(0);
    return error ? error : file.write(std::to_string(GetCurrentProcessId()) + '\n');
  }
  const bool isLocked = is(error, ERROR_LOCK_VIOLATION) || is(error, ERROR_IO_PENDING);
  std::array<char, 32> text{};
  std::size_t count = 0;
  if (!file.read(text.data(), text.size(), count)) {
    std::from_chars(text.data(), text.data() + count, holder);
  }
  file = File();
  return isLocked ? std::make_error_code(std::errc::resource_unavailable_try_again) : error;
}

std::error_code Folder::flush(std::size_t files,
                              const std::function<std::string(std::size_t)>& path) {
  const std::lock_guard lock(state_->mutex);
  for (std::size_t i = 0; i < files; ++i) {
    File file;
    std::error_code error =
        state_->openFile(path(i), GENERIC_WRITE, kShareAll, OPEN_EXISTING, file);
    if (!error) error = resultOf(FlushFileBuffers(file.state_->handle.get()));
    if (error) return error;
  }
  return {};
}

std::optional<std::uint64_t> Folder::freeRoom() const {
  ULARGE_INTEGER room{};
  if (GetDiskFreeSpaceExW((state_->root + L'\\').c_str(), &room, nullptr, nullptr) == FALSE) {
    return std::nullopt;
  }
  return room.QuadPart;
}

// A file that is open on other terms is refused with the one or the other, as is one that is
// mapped.
bool isInUse(const std::error_code& error) {
  return is(error, ERROR_SHARING_VIOLATION) || is(error, ERROR_LOCK_VIOLATION) ||
         is(error, ERROR_ACCESS_DENIED) || is(error, ERROR_USER_MAPPED_FILE);
}

std::string systemText(const std::error_code& error) {
  if (error.category() != std::system_category()) return error.message();
  std::array<wchar_t, 1024> text{};
  const DWORD length = FormatMessageW(
      FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
      nullptr, static_cast<DWORD>(error.value()), 0, text.data(), static_cast<DWORD>(text.size()),
      nullptr);
  std::string message = Platform::utf8Of({text.data(), length});
  // Without line breaks, the text ends in a blank.
  while (!message.empty() && message.back() == ' ')
    message.pop_back();
  return message.empty() ? "error " + std::to_string(error.value()) : message;
}

}  // namespace mtlupdate
