// A ListNote is what a stamp says about the list of its release: its length, its digest, and the
// other forms in which the publisher offers it.
#ifndef MTLLIB_RULES_LIST_NOTE_H_
#define MTLLIB_RULES_LIST_NOTE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace mtlrules {

struct ListNote {
  std::uint64_t size = 0;       ///< In bytes.
  std::string sha256{};         ///< In 64 lower-case hexadecimal digits; "" in older stamps.
  bool isCompressed = false;    ///< There is kCompressedListName beside the list.
  bool hasDifferences = false;  ///< There may be a differenceName() of an older stamp.
};

bool operator==(const ListNote& left, const ListNote& right);

/// "list: 812 bytes, sha256 5f70..., compressed, differences". What there is not is left out;
/// without a digest nothing follows the size.
std::string noteText(const ListNote& note);

/// The note of such a text; none for one that noteText() would not write.
std::optional<ListNote> noteFrom(std::string_view text);

/// The stamp of a release that is not signed: its id, in 64 lower-case hexadecimal digits, and the
/// note, a line each.
std::string stampText(std::string_view id, const ListNote& note);

/// The note in such a stamp; none in any other, such as one that has the id alone.
std::optional<ListNote> noteInStamp(std::string_view stamp);

/// The list in the format of gzip, beside the list.
inline constexpr const char* kCompressedListName = "filelist.json.gz";

/// The folder of differences, beside the list.
inline constexpr const char* kDifferencesFolder = "changes";

/// Where the difference from the list of the stamp with this digest is, relative to where the
/// list is: "changes/5f70....gz".
std::string differenceName(std::string_view stampSha256);

/// Whether a path of the library, in the one way to write it, is a name of the two kinds above.
/// Upper and lower case of ASCII letters are the same.
bool isListForm(std::string_view path);

}  // namespace mtlrules

#endif  // MTLLIB_RULES_LIST_NOTE_H_
