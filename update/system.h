// What the engine needs of the operating system: folders that nothing can lead out of, files, a
// lock, and durable writes. Each system has one source file; paths and texts are UTF-8.
#ifndef MTLLIB_UPDATE_SYSTEM_H_
#define MTLLIB_UPDATE_SYSTEM_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace mtlupdate {

/// Identifies a version of a file, without its content being read.
struct FileIdentity {
  std::uint64_t size = 0;
  std::int64_t modified = 0;  ///< In nanoseconds, from a moment that the system chose.
  std::uint64_t number = 0;   ///< The file system's own number of it; 0 where it has none.

  bool operator==(const FileIdentity& other) const {
    return size == other.size && modified == other.modified && number == other.number;
  }
};

/// What is at a path, links not followed.
enum class FileKind { kNone, kFile, kFolder, kLink, kOther };

struct Look {
  FileKind kind = FileKind::kNone;
  FileIdentity identity{};  ///< Of a kFile.
  /// Not empty when something on the way to the path is not a folder: that something, relative
  /// to the folder. `kind` is what it is, then: kFile, kLink or kOther.
  std::string blockedBy{};
  bool lacksFolder = false;  ///< A kNone whose folder is not there either.
};

/// An open file, closed by the destructor. One thread at a time.
class File {
 public:
  File();
  ~File();
  File(File&& other) noexcept;
  File& operator=(File&& other) noexcept;

  bool isOpen() const { return state_ != nullptr; }

  /// Reads from where the last read or write ended; `count` is 0 at the end of the file.
  std::error_code read(char* buffer, std::size_t size, std::size_t& count);
  /// Writes all of the bytes there.
  std::error_code write(std::string_view bytes);
  /// Cuts the file at `size` bytes; what is written next goes there.
  std::error_code cutAt(std::uint64_t size);
  std::error_code identity(FileIdentity& identity) const;
  /// After an error the file is closed all the same, and its content is uncertain.
  std::error_code close();

 private:
  friend class Folder;
  struct State;
  std::unique_ptr<State> state_;
};

/// A Folder is a folder of the system, such as that of a local copy, and the only way in which
/// the engine touches files. Paths are relative to it, plain (mtlrules::plainPath), and never lead
/// out: no link is followed on the way or at the end, whoever puts it there and when. Only the
/// folder itself may be reached over links.
///
/// Any thread may call; calls take turns.
class Folder {
 public:
  Folder();
  ~Folder();
  Folder(Folder&& other) noexcept;
  Folder& operator=(Folder&& other) noexcept;

  /// Opens the folder of this name. `create`: makes it, and those that contain it, if there is
  /// none.
  std::error_code open(const std::string& name, bool create);

  /// An error when the system does not say.
  std::error_code look(std::string_view path, Look& found);
  /// The names in the folder at `path`, in no order; "" is the Folder itself.
  std::error_code names(std::string_view path, std::vector<std::string>& names);

  std::error_code openToRead(std::string_view path, File& file);
  /// Opens a regular file at its end, or makes an empty one. The error is too_many_links when the
  /// file has other names, as in a hard-linked copy of the folder, which would change, too.
  std::error_code openToAppend(std::string_view path, File& file);
  /// Makes an empty file. The error is file_exists when there is anything.
  std::error_code makeFile(std::string_view path, File& file);
  /// Makes the folder at `path`, and those that contain it, if there is none.
  std::error_code makeFolders(std::string_view path);

  /// Makes the file at `from` the one at `to`, in one step and also in the place of another file.
  /// Who has that one open or mapped keeps it as it was. On Windows a file that is in use on
  /// terms that do not allow it stays, and isInUse() is true of the error.
  std::error_code replace(std::string_view from, std::string_view to);
  /// Removes a file or a link; nothing is wrong when there is none.
  std::error_code removeFile(std::string_view path);
  /// Removes a folder that is empty, and leaves any other.
  std::error_code removeFolder(std::string_view path);

  /// Gives the file `from` the name `to` as well. An error where the file system has no such names.
  std::error_code link(std::string_view from, std::string_view to);

  /// Makes `to` share the content of the file `from`, which costs neither room nor time. An
  /// error on most file systems, with no file left at `to`.
  std::error_code clone(std::string_view from, std::string_view to);

  /// Opens the file, or makes it, and locks it against every other opening of it until `file` is
  /// closed or the process has died. One that a hard-linked copy of the folder has as well is
  /// replaced by one of its own. The error is resource_unavailable_try_again when it is locked
  /// already; `holder` then is the number of the process that did it, 0 when unknown.
  std::error_code lock(std::string_view path, File& file, std::int64_t& holder);

  /// Makes durable all that was written below this folder, so many files at least, of which `path`
  /// gives each: on Linux in one step, elsewhere one by one, and nothing but them.
  std::error_code flush(std::size_t files, const std::function<std::string(std::size_t)>& path);

  /// In bytes, for this user.
  std::optional<std::uint64_t> freeRoom() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

/// Whether a file could not be replaced or removed because some program has it open.
bool isInUse(const std::error_code& error);

/// The system's words for its error, in one line.
std::string systemText(const std::error_code& error);

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_SYSTEM_H_
