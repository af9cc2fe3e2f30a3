// What mtlpublish needs of the operating system beyond the standard library: the state of files,
// links, replacing files, interrupts and sockets. Each system has one source file.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_SYSTEM_H_
#define MTLLIB_TOOLS_MTLPUBLISH_SYSTEM_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace mtlpublish {

/// Times are in nanoseconds since 1970, UTC, as exact as the file system keeps them.
struct FileState {
  std::uint64_t size = 0;
  /// When the content was last written; whoever may write the file may set it to anything.
  std::int64_t modified = 0;
  /// When anything about the file last changed; only the system sets it. 0 where the file
  /// system does not keep it.
  std::int64_t changed = 0;
  /// Distinguishes the file from others on its volume.
  std::uint64_t id = 0;
};

inline bool operator==(const FileState& a, const FileState& b) {
  return a.size == b.size && a.modified == b.modified && a.changed == b.changed && a.id == b.id;
}

/// Follows symbolic links.
std::error_code readFileState(const std::filesystem::path& file, FileState& state);

/// True when the entry itself is a symbolic link, or a mount point that Windows takes for a
/// kind of link.
bool isLink(const std::filesystem::directory_entry& entry);

/// The absolute path of what `path` stands for, which exists: without links, "." and
/// "..", and with the names as they are on the disk.
std::filesystem::path canonicalPath(const std::filesystem::path& path, std::error_code& error);

/// Renames `file` to `target`, in the same folder, replacing what is there in one step, and
/// has both the content and the name on the disk before it returns. Where a file cannot be
/// replaced while somebody reads it, waits a moment for the reader to finish.
std::error_code renameOver(const std::filesystem::path& file, const std::filesystem::path& target);

/// Writes a file that is not there yet, and has it on the disk before it returns; an error when
/// there is one. Where the system has rights for that, nobody but the user may read a file that is
/// `onlyForUser`; on Windows that is up to the folder.
std::error_code createFile(const std::filesystem::path& file, std::string_view content,
                           bool onlyForUser);

/// Asks for a line on the terminal, in UTF-8, and shows nothing of what is typed. None when there
/// is no terminal. An interrupt meanwhile ends the program as usual, with the terminal as it was.
std::optional<std::string> askPassword(const std::string& prompt);

/// From now on an interrupt or a request to terminate ends the program at once, with the
/// exit status 0. A signal that was ignored stays so.
void endWhenInterrupted();

/// A socket by the system's number for it.
using Socket = std::uintptr_t;

/// For a server's socket before it takes its port: two servers never share a port, and a port
/// is free again as soon as its server has ended.
void setSocketOptions(Socket socket);

/// For a connection that was accepted, before the following are used.
void setUpConnection(Socket socket);

/// Receives what comes first within the time: the number of bytes, 0 when none came, -1
/// when none will.
std::ptrdiff_t receiveWithin(std::chrono::milliseconds time, Socket socket, char* data,
                             std::size_t size);

/// Sends what the socket takes within the time: the number of bytes, 0 when it took none,
/// -1 when it will take none.
std::ptrdiff_t sendWithin(std::chrono::milliseconds time, Socket socket, const char* data,
                          std::size_t size);

/// The other side sees the end of what is sent, and can still send.
void endSending(Socket socket);

void closeSocket(Socket socket);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_SYSTEM_H_
