// Writes and reads the list of files that clients fetch.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_FILE_LIST_H_
#define MTLLIB_TOOLS_MTLPUBLISH_FILE_LIST_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "rules/list_entry.h"

namespace mtlpublish {

using mtlrules::DownloadPolicy;

struct ListEntry {
  std::string path;
  DownloadPolicy policy = DownloadPolicy::kAlways;
  std::uint64_t size = 0;
  /// The size of the lossy variant, which clients fetch in place of a map; 0 when there
  /// is none.
  std::uint64_t jpegSize = 0;
  /// Of the file that is fetched, 64 hexadecimal digits; "" when the list has none.
  std::string sha256{};

  /// Of the file that is fetched.
  std::uint64_t fetchedSize() const { return jpegSize != 0 ? jpegSize : size; }
};

/// The text of the list: a JSON array, one entry a line. It ends in a newline, which
/// clients need: they leave out the last byte of the list when they parse it. `mirrors` are other
/// addresses of the library, which come first.
std::string fileListText(const std::vector<ListEntry>& entries,
                         const std::vector<std::string>& mirrors = {});

/// The entries of such a text, sorted by path; none when it is another one.
std::optional<std::vector<ListEntry>> parseFileList(std::string_view text);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_FILE_LIST_H_
