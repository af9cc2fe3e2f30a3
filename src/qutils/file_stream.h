// A PFileStream is a stream over a file handle of the system.
#ifndef MTLLIB_QUTILS_FILE_STREAM_H_
#define MTLLIB_QUTILS_FILE_STREAM_H_

#include <cstdint>

#include "platform/utf.h"
#include "platform/win32.h"
#include "qutils/stream.h"

namespace QUtils {

/// How PFileStream opens a file. The low two bits choose one of the first four.
enum PFileStreamMode : std::uint32_t {
  PFS_MODE_EXISTING = 0,       ///< Open: the file must exist. Create: as CREATE_ALWAYS.
  PFS_MODE_APPEND = 1,         ///< Open: as EXISTING. Create: keeps the content, moves to its end.
  PFS_MODE_OPEN_ALWAYS = 2,    ///< Open: creates a missing file. Create: as CREATE_ALWAYS.
  PFS_MODE_CREATE_ALWAYS = 3,  ///< Creates the file or empties it.
  PFS_MODE_SEQUENTIAL = 0x4,
  PFS_MODE_WRITE_THROUGH = 0x8,
  PFS_MODE_CREATE_NEW = 0x10  ///< The file must not exist, whatever the low bits say.
};

/// A stream over a file. Names are UTF-8. The destructor closes an open file.
/// Opening again without Close() is not checked: the old handle is overwritten.
class PFileStream : public PStream {
 public:
  PFileStream() = default;
  ~PFileStream() override;

  /// Opens the file named by SetFileParams().
  ErrorChain Open() override;
  ErrorChain Close() override;
  ErrorChain Flush() override;
  ErrorChain Write(const void* bytes, std::uint32_t size, std::uint32_t& written) override;
  ErrorChain WriteString(const char* text) override;
  ErrorChain Read(void* bytes, std::int32_t size, std::uint32_t& read) override;
  ErrorChain Seek(std::int64_t position) override;
  ErrorChain SeekOff(std::int64_t offset) override;
  ErrorChain SeekEnd(std::int64_t offset) override;
  /// -1 on failure.
  std::int64_t GetSize() override;
  ErrorChain Truncate() override;
  /// -1 on failure.
  std::int64_t Tell() override;
  bool IsEof() override;
  int IsOpened() override;

  /// SetFileParams() and Open().
  virtual ErrorChain OpenFile(const char* name, std::uint32_t desiredAccess, std::uint32_t sharing,
                              std::uint32_t openMode);
  /// The size of the file `name`, -1 when there is none; no need to open anything.
  virtual std::int64_t GetFileSizeByName(const char* name);
  virtual ErrorChain SetFileParams(const char* name, std::uint32_t desiredAccess,
                                   std::uint32_t sharing, std::uint32_t openMode);
  /// Opens for reading and writing, others may read; a null name means the stored one.
  /// The stored access, share mode and mode are neither used nor changed.
  virtual ErrorChain Create(const char* name, std::uint32_t createMode);

 private:
  ErrorChain openHandle(const char* tag, std::uint32_t desiredAccess, std::uint32_t sharing,
                        std::uint32_t disposition, std::uint32_t openMode);
  ErrorChain seekFrom(const char* tag, std::int64_t offset, DWORD method);

  std::int32_t openCount = 0;
  Platform::Utf8Text fileName;
  std::uint32_t access = GENERIC_READ | GENERIC_WRITE;
  std::uint32_t shareMode = FILE_SHARE_READ;
  std::uint32_t mode = PFS_MODE_OPEN_ALWAYS;
  HANDLE handle = nullptr;
};

}  // namespace QUtils

#endif  // MTLLIB_QUTILS_FILE_STREAM_H_
