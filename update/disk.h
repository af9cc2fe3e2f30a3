// Reads the files of a copy: what is where, and what its content is.
#ifndef MTLLIB_UPDATE_DISK_H_
#define MTLLIB_UPDATE_DISK_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "update/sha256.h"
#include "update/system.h"

namespace mtlupdate {

/// Called now and then with the bytes read so far; if it returns false, reading ends with the
/// error operation_canceled. With none, reading never ends early.
using ShouldContinue = std::function<bool(std::uint64_t bytes)>;

/// Adds the rest of the file to what is digested.
std::error_code digestRest(File& file, const ShouldContinue& shouldContinue, Sha256& sha256);

/// Makes `to`, a new file, have the content of the file `from`. After an error there may be a part.
std::error_code copyFile(Folder& folder, std::string_view from, std::string_view to,
                         const ShouldContinue& shouldContinue = {});

/// A Disk is what a plan asks about a copy.
class Disk {
 public:
  virtual ~Disk() = default;

  /// As Folder::look().
  virtual std::error_code look(std::string_view path, Look& found) = 0;
  /// As Folder::names().
  virtual std::error_code names(std::string_view path, std::vector<std::string>& names) = 0;
  virtual std::error_code digest(std::string_view path, const ShouldContinue& shouldContinue,
                                 Digest& digest) = 0;
  /// In bytes.
  virtual std::optional<std::uint64_t> freeRoom() = 0;
};

/// The disk itself. The folder must live longer.
class FolderDisk : public Disk {
 public:
  explicit FolderDisk(Folder& folder) : folder_(folder) {}

  std::error_code look(std::string_view path, Look& found) override;
  std::error_code names(std::string_view path, std::vector<std::string>& names) override;
  std::error_code digest(std::string_view path, const ShouldContinue& shouldContinue,
                         Digest& digest) override;
  std::optional<std::uint64_t> freeRoom() override;

 private:
  Folder& folder_;
};

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_DISK_H_
