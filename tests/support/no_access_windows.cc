// Makes files inaccessible by handles that share nothing. They are read-only as well, so that
// nobody waits for the end of what looks like a short use.
#include "support/no_access.h"

#include "platform/win32.h"

namespace {

/// For folders too. INVALID_HANDLE_VALUE when it is refused.
HANDLE openAlone(const std::filesystem::path& path, DWORD access, DWORD disposition) {
  return CreateFileW(path.c_str(), access, 0, nullptr, disposition, FILE_FLAG_BACKUP_SEMANTICS,
                     nullptr);
}

}  // namespace

struct NoAccess::State {
  struct Held {
    std::filesystem::path path;
    DWORD attributes;
    HANDLE handle;
  };
  std::vector<Held> held;
};

NoAccess::NoAccess(const std::vector<std::filesystem::path>& paths)
    : state_(std::make_unique<State>()) {
  for (const std::filesystem::path& path : paths) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    SetFileAttributesW(path.c_str(), attributes | FILE_ATTRIBUTE_READONLY);
    state_->held.push_back({path, attributes, openAlone(path, GENERIC_READ, OPEN_EXISTING)});
  }
}

NoAccess::~NoAccess() {
  for (const State::Held& held : state_->held) {
    CloseHandle(held.handle);
    SetFileAttributesW(held.path.c_str(), held.attributes);
  }
}

unsigned NoAccess::code() const {
  HANDLE file = openAlone(state_->held.front().path, GENERIC_WRITE, CREATE_ALWAYS);
  if (file == INVALID_HANDLE_VALUE) return GetLastError();
  CloseHandle(file);
  return ERROR_SUCCESS;
}
