// The POSIX implementation of system.h, with what Linux has beyond POSIX. Every file is named
// relative to the open folder that contains it, and folders are opened one by one without following
// links.
#include "update/system.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <mutex>
#include <utility>

#include "platform/posix/file_size_signal_guard.h"

namespace mtlupdate {

namespace {

constexpr int kFolderFlags = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr mode_t kFileMode = 0666;  // Less what the process masks.
constexpr mode_t kFolderMode = 0777;
constexpr std::int64_t kNanoseconds = 1'000'000'000;

std::error_code lastError() {
  return {errno, std::generic_category()};
}

std::error_code errorOf(std::errc code) {
  return std::make_error_code(code);
}

/// Closed by the destructor.
class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }

  int get() const { return number_; }
  bool isOpen() const { return number_ >= 0; }
  int release() { return std::exchange(number_, -1); }

 private:
  int number_;
};

struct CloseListing {
  void operator()(DIR* listing) const { ::closedir(listing); }
};

FileKind kindOf(const struct stat& status) {
  if (S_ISREG(status.st_mode)) return FileKind::kFile;
  if (S_ISDIR(status.st_mode)) return FileKind::kFolder;
  return S_ISLNK(status.st_mode) ? FileKind::kLink : FileKind::kOther;
}

FileIdentity identityOf(const struct stat& status) {
  return {static_cast<std::uint64_t>(status.st_size),
          status.st_mtim.tv_sec * kNanoseconds + status.st_mtim.tv_nsec, status.st_ino};
}

bool isAbsence(const std::error_code& error) {
  return error == std::errc::no_such_file_or_directory;
}

/// Neither a folder nor a link to one: the way to a path ends there.
bool isObstacle(const std::error_code& error) {
  return error == std::errc::not_a_directory || error == std::errc::too_many_symbolic_link_levels;
}

}  // namespace

struct File::State {
  Descriptor descriptor;
};

File::File() = default;
File::~File() = default;
File::File(File&& other) noexcept = default;
File& File::operator=(File&& other) noexcept = default;

std::error_code File::read(char* buffer, std::size_t size, std::size_t& count) {
  count = 0;
  ssize_t got = 0;
  do {
    got = ::read(state_->descriptor.get(), buffer, size);
  } while (got < 0 && errno == EINTR);
  if (got < 0) return lastError();
  count = static_cast<std::size_t>(got);
  return {};
}

std::error_code File::write(std::string_view bytes) {
  const posix::FileSizeSignalGuard guard;
  while (!bytes.empty()) {
    const ssize_t count = ::write(state_->descriptor.get(), bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return lastError();
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return {};
}

std::error_code File::cutAt(std::uint64_t size) {
  const int descriptor = state_->descriptor.get();
  const auto offset = static_cast<off_t>(size);
  const bool isCut =
      ::ftruncate(descriptor, offset) == 0 && ::lseek(descriptor, offset, SEEK_SET) == offset;
  return isCut ? std::error_code() : lastError();
}

std::error_code File::identity(FileIdentity& identity) const {
  struct stat status {};
  if (::fstat(state_->descriptor.get(), &status) != 0) return lastError();
  identity = identityOf(status);
  return {};
}

std::error_code File::close() {
  const std::unique_ptr<State> state = std::move(state_);
  if (state == nullptr) return {};
  return ::close(state->descriptor.release()) == 0 ? std::error_code() : lastError();
}

/// The folders that were opened last stay open: most paths are in the folder of a recent one.
struct Folder::State {
  struct Open {
    std::string path;
    Descriptor descriptor;
  };

  /// The folder that contains `path`, and its name there. The folder is open until the next call.
  std::error_code parentOf(std::string_view path, int& parent, std::string& name) {
    const std::size_t end = path.rfind('/');
    name = path.substr(end == path.npos ? 0 : end + 1);
    // Only a path that is not plain has such a name.
    if (name.empty() || name == "." || name == "..") return errorOf(std::errc::invalid_argument);
    return folderAt(path.substr(0, end == path.npos ? 0 : end), parent);
  }

  /// The same for two paths at once.
  std::error_code parents(std::string_view from, int& folder, std::string& name,
                          std::string_view to, int& folderOfTarget, std::string& nameOfTarget) {
    if (const std::error_code error = parentOf(from, folder, name)) return error;
    // The second stays among the folders that are open while the first is looked up again.
    const std::error_code error = parentOf(to, folderOfTarget, nameOfTarget);
    return error ? error : parentOf(from, folder, name);
  }

  std::error_code folderAt(std::string_view path, int& folder) {
    folder = root.get();
    if (path.empty()) return {};
    const auto known = std::find_if(open.begin(), open.end(),
                                    [&](const Open& other) { return other.path == path; });
    if (known != open.end()) {
      std::rotate(open.begin(), known, known + 1);
      folder = open.front().descriptor.get();
      return {};
    }
    int parent = -1;
    std::string name;
    if (const std::error_code error = parentOf(path, parent, name)) return error;
    Descriptor opened(::openat(parent, name.c_str(), kFolderFlags));
    if (!opened.isOpen()) return lastError();
    folder = opened.get();
    if (open.size() == kMostOpen) open.pop_back();
    open.insert(open.begin(), {std::string(path), std::move(opened)});
    return {};
  }

  std::error_code statusOf(std::string_view path, struct stat& status) {
    int parent = -1;
    std::string name;
    if (const std::error_code error = parentOf(path, parent, name)) return error;
    const int result = ::fstatat(parent, name.c_str(), &status, AT_SYMLINK_NOFOLLOW);
    return result == 0 ? std::error_code() : lastError();
  }

  std::error_code openFile(std::string_view path, int flags, File& file) {
    int parent = -1;
    std::string name;
    if (const std::error_code error = parentOf(path, parent, name)) return error;
    // Whatever is there, opening it does not wait for anything.
    constexpr int kAlways = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    Descriptor opened(::openat(parent, name.c_str(), flags | kAlways, kFileMode));
    if (!opened.isOpen()) return lastError();
    struct stat status {};
    if (::fstat(opened.get(), &status) != 0) return lastError();
    if (!S_ISREG(status.st_mode)) return errorOf(std::errc::invalid_argument);
    file.state_ = std::make_unique<File::State>(File::State{std::move(opened)});
    return {};
  }

  static constexpr std::size_t kMostOpen = 16;

  std::mutex mutex;
  Descriptor root;
  std::vector<Open> open;  // The last one used first.
};

Folder::Folder() : state_(std::make_unique<State>()) {}
Folder::~Folder() = default;
Folder::Folder(Folder&& other) noexcept = default;
Folder& Folder::operator=(Folder&& other) noexcept = default;

std::error_code Folder::open(const std::string& name, bool create) {
  std::error_code error;
  if (create) std::filesystem::create_directories(name, error);
  if (error) return error;
  auto opened = std::make_unique<State>();
  opened->root = Descriptor(::open(name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!opened->root.isOpen()) return lastError();
  state_ = std::move(opened);
  return {};
}

std::error_code Folder::look(std::string_view path, Look& found) {
  const std::lock_guard lock(state_->mutex);
  found = {};
  struct stat status {};
  std::error_code error = state_->statusOf(path, status);
  if (isAbsence(error)) {
    int folder = -1;
    const std::size_t end = path.rfind('/');
    found.lacksFolder =
        end != path.npos && isAbsence(state_->folderAt(path.substr(0, end), folder));
    return {};
  }
  while (isObstacle(error) && path.find('/') != path.npos) {
    path = path.substr(0, path.rfind('/'));
    found.blockedBy = path;
    error = state_->statusOf(path, status);
  }
  if (error) return error;
  found.kind = kindOf(status);
  if (found.kind == FileKind::kFile) found.identity = identityOf(status);
  return {};
}

std::error_code Folder::names(std::string_view path, std::vector<std::string>& names) {
  const std::lock_guard lock(state_->mutex);
  names.clear();
  int folder = -1;
  if (const std::error_code error = state_->folderAt(path, folder)) return error;
  Descriptor readable(::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!readable.isOpen()) return lastError();
  const std::unique_ptr<DIR, CloseListing> listing(::fdopendir(readable.get()));
  if (listing == nullptr) return lastError();
  readable.release();
  errno = 0;
  while (const dirent* entry = ::readdir(listing.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
  return errno == 0 ? std::error_code() : lastError();
}

std::error_code Folder::openToRead(std::string_view path, File& file) {
  const std::lock_guard lock(state_->mutex);
  return state_->openFile(path, O_RDONLY, file);
}

std::error_code Folder::openToAppend(std::string_view path, File& file) {
  const std::lock_guard lock(state_->mutex);
  if (const std::error_code error = state_->openFile(path, O_RDWR | O_CREAT, file)) return error;
  struct stat status {};
  if (::fstat(file.state_->descriptor.get(), &status) != 0) return lastError();
  if (status.st_nlink > 1) {
    file = File();
    return errorOf(std::errc::too_many_links);
  }
  const off_t end = ::lseek(file.state_->descriptor.get(), 0, SEEK_END);
  return end >= 0 ? std::error_code() : lastError();
}

std::error_code Folder::makeFile(std::string_view path, File& file) {
  const std::lock_guard lock(state_->mutex);
  int parent = -1;
  std::string name;
  if (const std::error_code error = state_->parentOf(path, parent, name)) return error;
  Descriptor made(::openat(parent, name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kFileMode));
  if (!made.isOpen()) return lastError();
  file.state_ = std::make_unique<File::State>(File::State{std::move(made)});
  return {};
}

std::error_code Folder::makeFolders(std::string_view path) {
  const std::lock_guard lock(state_->mutex);
  for (std::size_t end = 0; end < path.size(); ++end) {
    end = std::min(path.find('/', end), path.size());
    int folder = -1;
    std::error_code error = state_->folderAt(path.substr(0, end), folder);
    if (!error) continue;
    if (!isAbsence(error)) return error;
    std::string name;
    error = state_->parentOf(path.substr(0, end), folder, name);
    if (error) return error;
    if (::mkdirat(folder, name.c_str(), kFolderMode) != 0 && errno != EEXIST) return lastError();
  }
  int folder = -1;
  return state_->folderAt(path, folder);
}

std::error_code Folder::replace(std::string_view from, std::string_view to) {
  const std::lock_guard lock(state_->mutex);
  int folder = -1;
  int folderOfTarget = -1;
  std::string name;
  std::string nameOfTarget;
  std::error_code error = state_->parents(from, folder, name, to, folderOfTarget, nameOfTarget);
  if (error) return error;
  const int result = ::renameat(folder, name.c_str(), folderOfTarget, nameOfTarget.c_str());
  return result == 0 ? std::error_code() : lastError();
}

std::error_code Folder::removeFile(std::string_view path) {
  const std::lock_guard lock(state_->mutex);
  int folder = -1;
  std::string name;
  std::error_code error = state_->parentOf(path, folder, name);
  if (!error && ::unlinkat(folder, name.c_str(), 0) != 0) error = lastError();
  return isAbsence(error) ? std::error_code() : error;
}

std::error_code Folder::removeFolder(std::string_view path) {
  const std::lock_guard lock(state_->mutex);
  state_->open.clear();  // It may be among them, and there be another one later.
  int folder = -1;
  std::string name;
  std::error_code error = state_->parentOf(path, folder, name);
  if (!error && ::unlinkat(folder, name.c_str(), AT_REMOVEDIR) != 0) error = lastError();
  const bool isFine = isAbsence(error) || error == std::errc::directory_not_empty ||
                      error == std::errc::file_exists;
  return isFine ? std::error_code() : error;
}

std::error_code Folder::link(std::string_view from, std::string_view to) {
  const std::lock_guard lock(state_->mutex);
  int folder = -1;
  int folderOfTarget = -1;
  std::string name;
  std::string nameOfTarget;
  std::error_code error = state_->parents(from, folder, name, to, folderOfTarget, nameOfTarget);
  if (error) return error;
  const int result = ::linkat(folder, name.c_str(), folderOfTarget, nameOfTarget.c_str(), 0);
  return result == 0 ? std::error_code() : lastError();
}

std::error_code Folder::clone(std::string_view from, std::string_view to) {
  const std::lock_guard lock(state_->mutex);
  File source;
  File copy;
  if (const std::error_code error = state_->openFile(from, O_RDONLY, source)) return error;
  if (const std::error_code error = state_->openFile(to, O_WRONLY | O_CREAT | O_EXCL, copy)) {
    return error;
  }
  if (::ioctl(copy.state_->descriptor.get(), FICLONE, source.state_->descriptor.get()) == 0) {
    return {};
  }
  const std::error_code problem = lastError();
  int folder = -1;
  std::string name;
  if (!state_->parentOf(to, folder, name)) ::unlinkat(folder, name.c_str(), 0);
  return problem;
}

std::error_code Folder::lock(std::string_view path, File& file, std::int64_t& holder) {
  const std::lock_guard lock(state_->mutex);
  holder = 0;
  File shared;  // Locked until the folder's own file is.
  while (true) {
    if (const std::error_code error = state_->openFile(path, O_RDWR | O_CREAT, file)) return error;
    const int descriptor = file.state_->descriptor.get();
    if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) break;
    struct stat locked {};
    struct stat named {};
    if (::fstat(descriptor, &locked) != 0) return lastError();
    const std::error_code error = state_->statusOf(path, named);
    if (error && !isAbsence(error)) return error;
    // Somebody else has replaced it before it was locked.
    if (error || named.st_ino != locked.st_ino || named.st_dev != locked.st_dev) continue;
    if (locked.st_nlink > 1) {
      int folder = -1;
      std::string name;
      if (const std::error_code problem = state_->parentOf(path, folder, name)) return problem;
      if (::unlinkat(folder, name.c_str(), 0) != 0) return lastError();
      shared = std::move(file);
      continue;
    }
    if (const std::error_code problem = file.cutAt(0)) return problem;
    return file.write(std::to_string(::getpid()) + '\n');
  }
  const std::error_code error = lastError();
  std::array<char, 32> text{};
  std::size_t count = 0;
  if (!file.read(text.data(), text.size(), count)) {
    std::from_chars(text.data(), text.data() + count, holder);
  }
  file = File();
  return error;
}

std::error_code Folder::flush(std::size_t /*files*/,
                              const std::function<std::string(std::size_t)>& /*path*/) {
  return ::syncfs(state_->root.get()) == 0 ? std::error_code() : lastError();
}

std::optional<std::uint64_t> Folder::freeRoom() const {
  struct statvfs room {};
  if (::fstatvfs(state_->root.get(), &room) != 0) return std::nullopt;
  return static_cast<std::uint64_t>(room.f_bavail) * room.f_frsize;
}

bool isInUse(const std::error_code& /*error*/) {
  return false;
}

std::string systemText(const std::error_code& error) {
  return error.message();
}

}  // namespace mtlupdate
