// A library that is preloaded into a program. It counts the program's changes to what is below one
// folder, and sends the program a signal before one of them, so that a test can stop or kill a run
// at a moment of its choice, however fast the machine is.
//   WRITE_POINTS_BELOW   the folder, as the program names it
//   WRITE_POINTS_LOG     a file that gets a line for each change, before it is made
//   WRITE_POINTS_AT      the number of the change, from 1; if not set, no signal is sent
//   WRITE_POINTS_SIGNAL  the number of the signal, 9 by default
// A write during which a program is killed is half done. The number of changes does not depend on
// the network: how many bytes a program writes at once depends on how they arrive, so a write
// counts as many times as it begins blocks of the file.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

int numberIn(const char* variable, int otherwise) {
  const char* text = std::getenv(variable);
  return text != nullptr ? std::atoi(text) : otherwise;
}

bool isBelow(std::string_view path) {
  const char* folder = std::getenv("WRITE_POINTS_BELOW");
  if (folder == nullptr) return false;
  const std::string_view name(folder);
  return path.substr(0, name.size()) == name &&
         (path.size() == name.size() || path[name.size()] == '/');
}

void log(const char* call, std::string_view path) {
  const char* file = std::getenv("WRITE_POINTS_LOG");
  if (file == nullptr) return;
  const int descriptor = next<int(const char*, int, ...)>("open")(
      file, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (descriptor < 0) return;
  const std::string line = std::string(call) + ' ' + std::string(path) + '\n';
  next<ssize_t(int, const void*, std::size_t)>("write")(descriptor, line.data(), line.size());
  next<int(int)>("close")(descriptor);
}

std::string pathOf(int descriptor) {
  std::array<char, PATH_MAX> path{};
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  const ssize_t length = readlink(link.c_str(), path.data(), path.size());
  return {path.data(), length > 0 ? static_cast<std::size_t>(length) : 0};
}

/// True in front of the change at which the signal is due, where a call makes several.
bool isDue(const char* call, std::string_view path, int changes = 1) {
  static std::atomic<int> count{0};
  if (!isBelow(path)) return false;
  for (int i = 0; i < changes; ++i)
    log(call, path);
  const int before = count.fetch_add(changes);
  const int at = numberIn("WRITE_POINTS_AT", 0);
  return before < at && at <= before + changes;
}

/// The blocks of which a write of so many bytes writes the first byte.
int blocksBegun(int descriptor, std::size_t size) {
  constexpr off_t kBlock = 65536;
  const auto blocksBefore = [](off_t offset) { return (offset + kBlock - 1) / kBlock; };
  struct stat status {};
  const bool appends = (fcntl(descriptor, F_GETFL) & O_APPEND) != 0;
  const off_t begin = appends && fstat(descriptor, &status) == 0
                          ? status.st_size
                          : std::max<off_t>(lseek(descriptor, 0, SEEK_CUR), 0);
  return static_cast<int>(blocksBefore(begin + static_cast<off_t>(size)) - blocksBefore(begin));
}

int signalToSend() {
  return numberIn("WRITE_POINTS_SIGNAL", SIGKILL);
}

std::string pathAt(int folder, const char* name) {
  return *name == '/' || folder == AT_FDCWD ? name : pathOf(folder) + '/' + name;
}

void pass(const char* call, const char* path) {
  if (path != nullptr && isDue(call, path)) kill(getpid(), signalToSend());
}

void pass(const char* call, int descriptor) {
  if (isDue(call, pathOf(descriptor))) kill(getpid(), signalToSend());
}

int openWith(const char* call, const char* path, int flags, mode_t mode) {
  if ((flags & (O_WRONLY | O_RDWR)) != 0) pass(call, path);
  return next<int(const char*, int, ...)>(call)(path, flags, mode);
}

int openWithAt(const char* call, int folder, const char* name, int flags, mode_t mode) {
  if ((flags & (O_WRONLY | O_RDWR)) != 0) pass(call, pathAt(folder, name).c_str());
  return next<int(int, const char*, int, ...)>(call)(folder, name, flags, mode);
}

FILE* openStream(const char* call, const char* path, const char* mode) {
  if (std::string_view(mode).find_first_of("wa+") != std::string_view::npos) pass(call, path);
  return next<FILE*(const char*, const char*)>(call)(path, mode);
}

mode_t modeOf(int flags, std::va_list arguments) {
  return (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
}

}  // namespace

extern "C" {

#pragma GCC visibility push(default)

int open(const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = modeOf(flags, arguments);
  va_end(arguments);
  return openWith("open", path, flags, mode);
}

int open64(const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = modeOf(flags, arguments);
  va_end(arguments);
  return openWith("open64", path, flags, mode);
}

int openat(int folder, const char* name, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = modeOf(flags, arguments);
  va_end(arguments);
  return openWithAt("openat", folder, name, flags, mode);
}

int openat64(int folder, const char* name, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = modeOf(flags, arguments);
  va_end(arguments);
  return openWithAt("openat64", folder, name, flags, mode);
}

FILE* fopen(const char* path, const char* mode) {
  return openStream("fopen", path, mode);
}

FILE* fopen64(const char* path, const char* mode) {
  return openStream("fopen64", path, mode);
}

ssize_t write(int descriptor, const void* bytes, std::size_t size) {
  const auto real = next<ssize_t(int, const void*, std::size_t)>("write");
  if (isDue("write", pathOf(descriptor), blocksBegun(descriptor, size))) {
    if (signalToSend() == SIGKILL) real(descriptor, bytes, size / 2);
    kill(getpid(), signalToSend());
  }
  return real(descriptor, bytes, size);
}

ssize_t writev(int descriptor, const iovec* pieces, int count) {
  pass("writev", descriptor);
  return next<ssize_t(int, const iovec*, int)>("writev")(descriptor, pieces, count);
}

int ftruncate(int descriptor, off_t size) noexcept {
  pass("ftruncate", descriptor);
  return next<int(int, off_t)>("ftruncate")(descriptor, size);
}

int fsync(int descriptor) {
  pass("fsync", descriptor);
  return next<int(int)>("fsync")(descriptor);
}

int syncfs(int descriptor) noexcept {
  pass("syncfs", descriptor);
  return next<int(int)>("syncfs")(descriptor);
}

int renameat(int fromFolder, const char* from, int toFolder, const char* to) noexcept {
  pass("renameat", pathAt(toFolder, to).c_str());
  return next<int(int, const char*, int, const char*)>("renameat")(fromFolder, from, toFolder, to);
}

int linkat(int fromFolder, const char* from, int toFolder, const char* to, int flags) noexcept {
  pass("linkat", pathAt(toFolder, to).c_str());
  return next<int(int, const char*, int, const char*, int)>("linkat")(fromFolder, from, toFolder,
                                                                      to, flags);
}

int mkdirat(int folder, const char* name, mode_t mode) noexcept {
  pass("mkdirat", pathAt(folder, name).c_str());
  return next<int(int, const char*, mode_t)>("mkdirat")(folder, name, mode);
}

int unlinkat(int folder, const char* name, int flags) noexcept {
  pass("unlinkat", pathAt(folder, name).c_str());
  return next<int(int, const char*, int)>("unlinkat")(folder, name, flags);
}

int rename(const char* from, const char* to) noexcept {
  pass("rename", to);
  return next<int(const char*, const char*)>("rename")(from, to);
}

int mkdir(const char* path, mode_t mode) noexcept {
  pass("mkdir", path);
  return next<int(const char*, mode_t)>("mkdir")(path, mode);
}

int unlink(const char* path) noexcept {
  pass("unlink", path);
  return next<int(const char*)>("unlink")(path);
}

#pragma GCC visibility pop

}  // extern "C"
