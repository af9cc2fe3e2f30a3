// A Release is what the comment says that a publisher signs together with a library's list: the
// name of the library, the number of the release, and how long it is valid.
#ifndef MTLLIB_SIGNING_RELEASE_COMMENT_H_
#define MTLLIB_SIGNING_RELEASE_COMMENT_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "rules/list_note.h"

namespace mtlsigning {

/// One release of a library as its publisher describes it. Times are in seconds since 1970, UTC,
/// up to the end of the year 9999.
struct Release {
  std::string library{};                  ///< Its name.
  std::string subPath{};                  ///< Which clients ask for; "" for none.
  std::uint64_t serial = 0;               ///< Grows with each release.
  std::int64_t published = 0;             ///< When it was made.
  std::optional<std::int64_t> expires{};  ///< From when on clients refuse it.
  mtlrules::ListNote list{};              ///< What is said of its list.
};

bool operator==(const Release& left, const Release& right);

inline constexpr std::uint64_t kLargestSerial = 999999999999999;

/// Whether a library can have this name: 1 to 100 bytes of UTF-8, all of it visible, without ';'
/// and without a blank at either end.
bool isLibraryName(std::string_view name);

/// Whether a release can be for this sub-path: "", or a path in the one way to write it that is
/// visible, has no ';' and no blank at either end, and is at most 250 bytes long.
bool isSignableSubPath(std::string_view subPath);

/// "library: oak; sub-path: beta; serial: 1767225600; published: 2026-01-01T00:00:00Z; expires:
/// 2027-01-01T00:00:00Z; list: 812 bytes, sha256 5f70...", on one line, in this order. What there
/// is not, such as a sub-path or an expiry, is left out; the list is described as by noteText().
std::string commentText(const Release& release);

/// The release of such a comment; none for a text that commentText() would not write.
std::optional<Release> releaseFrom(std::string_view comment);

/// As in the comment, "2026-01-01T00:00:00Z".
std::string utcText(std::int64_t seconds);

}  // namespace mtlsigning

#endif  // MTLLIB_SIGNING_RELEASE_COMMENT_H_
