// Reads and writes the cache: one line for each file, and the digest of all of them as the last
// line, since a list must never be made from a cache that was cut short or damaged.
//
// A file counts as unchanged if its size, both of its times and its number on the volume are the
// same. The time of the last content alone would not do: tools that copy or unpack files set it
// back, so that another content of the same size would go unnoticed. Nobody can set the other
// time, which also changes with the permissions of the file. The number catches files that change
// places on file systems that do not keep that time. The cost is small: after a library was copied
// or restored, every file is read once more.
#include "mtlpublish/digest_cache.h"
#include "update/sha256.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>

namespace mtlpublish {

namespace {

constexpr std::string_view kHead = "mtlpublish cache 1\n";
constexpr std::size_t kDigits = 64;
constexpr std::size_t kEndLength = kDigits + 1;

std::string endOf(std::string_view text) {
  mtlupdate::Sha256 sha256;
  sha256.update(text);
  return mtlupdate::hexText(sha256.finish()) + "\n";
}

/// Takes a number and the blank behind it off `line`.
template <class Number>
bool takeNumber(std::string_view& line, Number& number) {
  const char* const end = line.data() + line.size();
  const auto [rest, error] = std::from_chars(line.data(), end, number);
  if (error != std::errc() || rest == end || *rest != ' ') return false;
  line.remove_prefix(static_cast<std::size_t>(rest - line.data()) + 1);
  return true;
}

bool takeDigest(std::string_view& line, std::string& sha256) {
  if (line.size() <= kDigits || line[kDigits] != ' ') return false;
  sha256 = line.substr(0, kDigits);
  line.remove_prefix(kDigits + 1);
  return true;
}

}  // namespace

DigestCache DigestCache::parse(std::string_view text) {
  if (text.size() < kHead.size() + kEndLength || text.substr(0, kHead.size()) != kHead) return {};
  const std::string_view end = text.substr(text.size() - kEndLength);
  text.remove_suffix(kEndLength);
  if (end != endOf(text)) return {};
  DigestCache cache;
  for (text.remove_prefix(kHead.size()); !text.empty();) {
    std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    Entry entry;
    FileState& state = entry.state;
    if (!takeDigest(line, entry.sha256) || !takeNumber(line, state.size) ||
        !takeNumber(line, state.modified) || !takeNumber(line, state.changed) ||
        !takeNumber(line, state.id)) {
      return {};
    }
    entry.path = line;
    cache.entries_.push_back(std::move(entry));
  }
  return cache;
}

std::string DigestCache::text() const {
  std::string text(kHead);
  for (const Entry& entry : entries_) {
    text.append(entry.sha256).append(" ");
    text.append(std::to_string(entry.state.size)).append(" ");
    text.append(std::to_string(entry.state.modified)).append(" ");
    text.append(std::to_string(entry.state.changed)).append(" ");
    text.append(std::to_string(entry.state.id)).append(" ");
    text.append(entry.path).append("\n");
  }
  return text + endOf(text);
}

std::string DigestCache::find(std::string_view path, const FileState& state) const {
  const auto entry = std::lower_bound(
      entries_.begin(), entries_.end(), path,
      [](const Entry& candidate, std::string_view wanted) { return candidate.path < wanted; });
  const bool isKnown = entry != entries_.end() && entry->path == path && entry->state == state;
  return isKnown ? entry->sha256 : std::string();
}

void DigestCache::add(const std::string& path, const FileState& state, const std::string& sha256) {
  entries_.push_back({path, state, sha256});
}

bool mayChangeUnseen(const FileState& state, std::chrono::system_clock::time_point now) {
  constexpr std::chrono::seconds kStep{2};
  const auto settled =
      std::chrono::duration_cast<std::chrono::nanoseconds>((now - kStep).time_since_epoch());
  return std::max(state.modified, state.changed) >= settled.count();
}

}  // namespace mtlpublish
