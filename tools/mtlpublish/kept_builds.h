// KeptBuilds are earlier builds of a library that can be published again: their files, the digests
// of these, and their lists. They are in the folder ".mtlpublish" of the library.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_KEPT_BUILDS_H_
#define MTLLIB_TOOLS_MTLPUBLISH_KEPT_BUILDS_H_

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "mtlpublish/digest_files.h"
#include "update/system.h"

namespace mtlpublish {

/// What a library was at a build.
struct BuildRecord {
  struct File {
    std::string path;
    std::string sha256;
  };
  std::vector<File> files;  ///< In the order of their paths.
  std::string list;         ///< The text of filelist.json.
  struct ViewList {
    std::string subPath;
    std::string list;
  };
  std::vector<ViewList> views{};  ///< With the lists of the views that it has.
};

/// The text of a record, and the record of a text; none of any other text.
std::string recordText(const BuildRecord& record);
std::optional<BuildRecord> parseRecord(std::string_view text);

class KeptBuilds {
 public:
  /// `root` is the library's folder, canonical. Nothing is read yet.
  explicit KeptBuilds(const std::filesystem::path& root);

  /// Copies the contents that are not kept yet, and has them on the disk. Returns what went wrong;
  /// "" when nothing did.
  std::string keepContents(const std::vector<DigestedFile>& files);

  /// Adds the newest build, all of whose contents are kept, and forgets those before the last
  /// `count` of the others, with the contents that no other one has.
  std::string add(const BuildRecord& record, std::size_t count);

  /// The numbers of the builds, the oldest first.
  std::vector<std::uint64_t> numbers() const;
  /// None when it is damaged.
  std::optional<BuildRecord> read(std::uint64_t number) const;
  void forget(std::uint64_t number);

  /// Where the content of this digest is kept.
  std::filesystem::path contentFile(std::string_view sha256) const;

 private:
  static std::error_code nameContents(mtlupdate::Folder& kept,
                                      const std::vector<std::string>& digests);
  void removeUnusedContents();

  std::filesystem::path root_;
  std::filesystem::path folder_;
};

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_KEPT_BUILDS_H_
