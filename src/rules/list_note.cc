// Parses and writes list notes. The parse is loose; the result is then written again, and only a
// text that comes out unchanged is accepted.
#include "rules/list_note.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <system_error>
#include <tuple>

#include "rules/ascii.h"

namespace mtlrules {

namespace {

constexpr std::size_t kDigestLength = 64;
constexpr std::string_view kList = "list: ";
constexpr std::string_view kBytes = " bytes";
constexpr std::string_view kSha256 = ", sha256 ";
constexpr std::string_view kCompressed = ", compressed";
constexpr std::string_view kDifferences = ", differences";
constexpr std::string_view kPacked = ".gz";

bool isDigest(std::string_view text) {
  return text.size() == kDigestLength &&
         text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

bool take(std::string_view& text, std::string_view start) {
  if (text.substr(0, start.size()) != start) return false;
  text.remove_prefix(start.size());
  return true;
}

}  // namespace

bool operator==(const ListNote& left, const ListNote& right) {
  const auto values = [](const ListNote& note) {
    return std::tie(note.size, note.sha256, note.isCompressed, note.hasDifferences);
  };
  return values(left) == values(right);
}

std::string noteText(const ListNote& note) {
  std::string text(kList);
  text.append(std::to_string(note.size)).append(kBytes);
  if (note.sha256.empty()) return text;
  text.append(kSha256).append(note.sha256);
  if (note.isCompressed) text.append(kCompressed);
  if (note.hasDifferences) text.append(kDifferences);
  return text;
}

std::optional<ListNote> noteFrom(std::string_view text) {
  std::string_view rest = text;
  ListNote note;
  if (!take(rest, kList)) return std::nullopt;
  const auto number = std::from_chars(rest.data(), rest.data() + rest.size(), note.size);
  if (number.ec != std::errc()) return std::nullopt;
  rest.remove_prefix(static_cast<std::size_t>(number.ptr - rest.data()));
  take(rest, kBytes);
  if (take(rest, kSha256)) {
    note.sha256 = rest.substr(0, kDigestLength);
    if (!isDigest(note.sha256)) return std::nullopt;
    rest.remove_prefix(kDigestLength);
  }
  note.isCompressed = take(rest, kCompressed);
  note.hasDifferences = take(rest, kDifferences);
  return noteText(note) == text ? std::optional(std::move(note)) : std::nullopt;
}

std::string stampText(std::string_view id, const ListNote& note) {
  return std::string(id).append("\n").append(noteText(note)).append("\n");
}

std::optional<ListNote> noteInStamp(std::string_view stamp) {
  const std::string_view id = stamp.substr(0, kDigestLength);
  if (!isDigest(id)) return std::nullopt;
  stamp.remove_prefix(kDigestLength);
  if (!take(stamp, "\n") || stamp.empty() || stamp.back() != '\n') return std::nullopt;
  stamp.remove_suffix(1);
  return noteFrom(stamp);
}

std::string differenceName(std::string_view stampSha256) {
  return std::string(kDifferencesFolder).append("/").append(stampSha256).append(kPacked);
}

bool isListForm(std::string_view path) {
  std::string lower(path);
  std::transform(lower.begin(), lower.end(), lower.begin(), asciiLower);
  if (lower == kCompressedListName) return true;
  const std::size_t start = std::string_view(kDifferencesFolder).size() + 1;
  return lower.size() == start + kDigestLength + kPacked.size() &&
         lower == differenceName(lower.substr(start, kDigestLength)) &&
         isDigest(lower.substr(start, kDigestLength));
}

}  // namespace mtlrules
