// Reads from a list the files that it asks its clients to keep.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_LISTED_FILES_H_
#define MTLLIB_TOOLS_MTLPUBLISH_LISTED_FILES_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mtlpublish {

struct ListedFile {
  std::string path;                  ///< As it stands in the list.
  std::optional<std::int64_t> size;  ///< Of the file that clients keep.
  std::string remotePath{};          ///< What is fetched for it: itself, or its lossy variant.
  std::string sha256{};  ///< Of the file that clients keep, 64 lower-case digits; "" for none.
};

/// What is wrong with an entry, or with the list.
struct ListProblem {
  std::size_t number = 0;  ///< Of the entry, from 1; 0 for the list itself.
  std::string path{};      ///< Of the entry; "" when it has none.
  std::string reason{};
  bool isRefused = false;  ///< Clients refuse the whole list for it; others they pass over.
};

/// Reads the text of a list, whose last byte is not part of the JSON, and adds the files
/// that clients fetch to `files`, but for those in the place of what a client with this sub-path
/// writes itself (mtlrules::isOwnName). Empty, or why clients would refuse the list.
std::string readList(std::string_view text, std::string_view subPath,
                     std::vector<ListedFile>& files);

/// The same, but continues after an entry that clients would refuse, and adds to `problems`
/// whatever is not as a publisher would have written it.
std::string readList(std::string_view text, std::string_view subPath,
                     std::vector<ListedFile>& files, std::vector<ListProblem>& problems);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_LISTED_FILES_H_
