// Reads and writes the state. The file begins with the name of its format and ends with the
// SHA-256 of everything before that. Numbers have a fixed size, with the lowest byte first; texts
// follow their length.
#include "update/state.h"

#include <algorithm>
#include <cstdint>
#include <system_error>
#include <utility>

#include "rules/path.h"
#include "update/own_files.h"

namespace mtlupdate {

namespace {

constexpr std::string_view kFormat = "mtllib state 1\n";
constexpr const char* kPartOfState = ".mtllib/state.part";
constexpr std::uint8_t kPlaced = 1;
constexpr std::uint8_t kDigested = 2;

bool isBefore(const KnownFile& a, const KnownFile& b) {
  return a.path < b.path;
}

std::optional<Digest> digestOf(std::string_view bytes) {
  Sha256 sha256;
  sha256.update(bytes);
  return sha256.finish();
}

std::string_view bytesOf(const Digest& digest) {
  return {reinterpret_cast<const char*>(digest.data()), digest.size()};
}

template <typename Number>
void putNumber(Number number, std::string& bytes) {
  auto rest = static_cast<std::uint64_t>(number);
  for (std::size_t i = 0; i < sizeof(Number); ++i) {
    bytes += static_cast<char>(rest & 0xFFU);
    rest >>= 8U;
  }
}

void putText(std::string_view text, std::string& bytes) {
  putNumber(static_cast<std::uint32_t>(text.size()), bytes);
  bytes += text;
}

/// Takes pieces from the front, until one is not there.
class Pieces {
 public:
  explicit Pieces(std::string_view bytes) : rest_(bytes) {}

  std::string_view take(std::size_t size) {
    isWhole_ = isWhole_ && size <= rest_.size();
    if (!isWhole_) return {};
    const std::string_view piece = rest_.substr(0, size);
    rest_.remove_prefix(size);
    return piece;
  }

  template <typename Number>
  Number takeNumber() {
    std::uint64_t number = 0;
    const std::string_view bytes = take(sizeof(Number));
    for (std::size_t i = bytes.size(); i-- > 0;)
      number = (number << 8U) | static_cast<std::uint8_t>(bytes[i]);
    return static_cast<Number>(number);
  }

  std::string_view takeText() { return take(takeNumber<std::uint32_t>()); }

  bool isWhole() const { return isWhole_; }
  bool isAtEnd() const { return isWhole_ && rest_.empty(); }

 private:
  std::string_view rest_;
  bool isWhole_ = true;
};

void putFile(const KnownFile& file, std::string& bytes) {
  const int flags = (file.isPlaced ? kPlaced : 0) | (file.sha256 ? kDigested : 0);
  putNumber(static_cast<std::uint8_t>(flags), bytes);
  putText(file.path, bytes);
  putNumber(file.identity.size, bytes);
  putNumber(file.identity.modified, bytes);
  putNumber(file.identity.number, bytes);
  if (file.sha256) bytes += bytesOf(*file.sha256);
}

KnownFile takeFile(Pieces& pieces) {
  KnownFile file;
  const auto flags = pieces.takeNumber<std::uint8_t>();
  file.isPlaced = (flags & kPlaced) != 0;
  file.path = pieces.takeText();
  file.identity.size = pieces.takeNumber<std::uint64_t>();
  file.identity.modified = pieces.takeNumber<std::int64_t>();
  file.identity.number = pieces.takeNumber<std::uint64_t>();
  if ((flags & kDigested) != 0) {
    Digest digest{};
    const std::string_view bytes = pieces.take(digest.size());
    std::copy(bytes.begin(), bytes.end(), digest.begin());
    file.sha256 = digest;
  }
  return file;
}

State stateIn(Folder& folder, const char* path) {
  std::string bytes;
  if (readOwnFile(folder, path, bytes)) return {};
  return stateFrom(bytes).value_or(State());
}

}  // namespace

void State::add(const KnownFile& file) {
  isSorted_ = isSorted_ && (files_.empty() || files_.back().path < file.path);
  files_.push_back(file);
  files_.back().path = texts_.keep(file.path);
}

const std::vector<KnownFile>& State::files() const {
  if (isSorted_) return files_;
  std::stable_sort(files_.begin(), files_.end(), isBefore);
  // Of those with the same path the last one stays.
  const auto last =
      std::unique(files_.rbegin(), files_.rend(),
                  [](const KnownFile& a, const KnownFile& b) { return a.path == b.path; });
  files_.erase(files_.begin(), last.base());
  isSorted_ = true;
  return files_;
}

const KnownFile* State::find(std::string_view path) const {
  const std::vector<KnownFile>& all = files();
  // Most often files are looked for in their order, each more than once.
  for (const std::size_t number : {last_, last_ + 1}) {
    if (number >= all.size() || all[number].path != path) continue;
    last_ = number;
    return &all[number];
  }
  KnownFile wanted;
  wanted.path = path;
  const auto found = std::lower_bound(all.begin(), all.end(), wanted, isBefore);
  if (found == all.end() || found->path != path) return nullptr;
  last_ = static_cast<std::size_t>(found - all.begin());
  return &*found;
}

std::string stateBytes(const State& state) {
  std::string bytes(kFormat);
  constexpr std::size_t kUsual = 128;  // Of one file.
  bytes.reserve(state.files().size() * kUsual);
  putText(state.address, bytes);
  putText(state.subPath, bytes);
  putText(state.stamp, bytes);
  putNumber(static_cast<std::uint64_t>(state.files().size()), bytes);
  for (const KnownFile& file : state.files())
    putFile(file, bytes);
  return bytes.append(bytesOf(digestOf(bytes).value_or(Digest{})));
}

std::optional<State> stateFrom(std::string_view bytes) {
  if (bytes.substr(0, kFormat.size()) != kFormat ||
      bytes.size() < kFormat.size() + sizeof(Digest)) {
    return std::nullopt;
  }
  const std::string_view content = bytes.substr(0, bytes.size() - sizeof(Digest));
  const std::optional<Digest> digest = digestOf(content);
  if (!digest || bytesOf(*digest) != bytes.substr(content.size())) return std::nullopt;
  Pieces pieces(content.substr(kFormat.size()));
  State state;
  state.address = pieces.takeText();
  state.subPath = pieces.takeText();
  state.stamp = pieces.takeText();
  const auto count = pieces.takeNumber<std::uint64_t>();
  constexpr std::size_t kLeast = 30;  // Bytes of one file.
  state.reserve(static_cast<std::size_t>(std::min<std::uint64_t>(count, bytes.size() / kLeast)));
  for (std::uint64_t i = 0; i < count && pieces.isWhole(); ++i) {
    const KnownFile file = takeFile(pieces);
    // Who can write the file can also make its digest right.
    if (!pieces.isWhole() || !mtlrules::isPlain(file.path)) {
      return std::nullopt;
    }
    state.add(file);
  }
  return pieces.isAtEnd() ? std::optional(std::move(state)) : std::nullopt;
}

State readState(Folder& folder) {
  State state = stateIn(folder, kStateFile);
  const State placed = stateIn(folder, kNewStateFile);
  for (const KnownFile& file : placed.files()) {
    Look look;
    const bool isPlaced = !folder.look(file.path, look) && look.kind == FileKind::kFile &&
                          look.blockedBy.empty() && look.identity == file.identity;
    if (isPlaced) state.add(file);
  }
  return state;
}

Outcome keepPlacedFiles(Folder& folder) {
  Look look;
  if (folder.look(kNewStateFile, look) || look.kind == FileKind::kNone) return {};
  if (Outcome failure = writeOwnFile(folder, kPartOfState, stateBytes(readState(folder)))) {
    return failure;
  }
  std::error_code error = folder.flush(1, [](std::size_t) { return std::string(kPartOfState); });
  if (!error) error = folder.replace(kPartOfState, kStateFile);
  if (error) return diskFailure("cannot be replaced", kStateFile, error);
  return {};
}

}  // namespace mtlupdate
