// Reads a difference step by step; each step is checked against what is left of both lists.
#include "update/list_difference.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <system_error>
#include <utility>

namespace mtlupdate {

namespace {

constexpr std::string_view kFirstLine = "mtllib list difference 1";
constexpr std::string_view kBuilds = "builds ";
constexpr std::string_view kFrom = "from ";
constexpr std::string_view kTo = "to ";
constexpr int kHeadLines = 4;
/// "from ", a number, a blank and a digest.
constexpr std::size_t kLongestLine = 5 + 20 + 1 + 64;

Failure wrong() {
  return {Failure::Kind::kContent, "it is not a whole list difference"};
}

bool take(std::string_view& text, std::string_view start) {
  if (text.substr(0, start.size()) != start) return false;
  text.remove_prefix(start.size());
  return true;
}

/// Takes a number off the front; 0 when there is none in the one way to write it.
std::uint64_t takeNumber(std::string_view& text) {
  std::uint64_t number = 0;
  if (text.empty() || text.front() == '0') return 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  if (result.ec != std::errc()) return 0;
  text.remove_prefix(static_cast<std::size_t>(result.ptr - text.data()));
  return number;
}

/// All of the text as a number.
std::uint64_t numberFrom(std::string_view text) {
  const std::uint64_t number = takeNumber(text);
  return text.empty() ? number : 0;
}

bool readIdentity(std::string_view text, ListIdentity& list) {
  list.size = takeNumber(text);
  if (list.size == 0 || !take(text, " ")) return false;
  const std::optional<Digest> digest = digestFrom(text);
  if (digest) list.sha256 = *digest;
  return digest.has_value();
}

std::string identityText(const ListIdentity& list) {
  return std::to_string(list.size) + ' ' + hexText(list.sha256) + '\n';
}

/// Puts a difference together again.
class Collector : public DifferenceReader::Handler {
 public:
  explicit Collector(ListDifference& difference) : difference_(difference) {}

  Outcome beginLists(const DifferenceHead& head) override {
    difference_.head = head;
    return {};
  }
  Outcome copy(std::uint64_t size) override {
    difference_.pieces.push_back({offset_, size, {}});
    return leaveOut(size);
  }
  Outcome leaveOut(std::uint64_t size) override {
    offset_ += size;
    return {};
  }
  Outcome insert(std::string_view bytes) override {
    difference_.pieces.push_back({0, bytes.size(), std::string(bytes)});
    return {};
  }

 private:
  ListDifference& difference_;
  std::uint64_t offset_ = 0;
};

}  // namespace

Outcome DifferenceReader::feed(std::string_view bytes) {
  while (!bytes.empty()) {
    if (toInsert_ > 0) {
      const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(toInsert_, bytes.size()));
      if (Outcome failure = handler_.insert(bytes.substr(0, size))) return failure;
      bytes.remove_prefix(size);
      toInsert_ -= size;
      continue;
    }
    const std::size_t end = std::min(bytes.find('\n'), bytes.size());
    if (line_.size() + end > kLongestLine) return wrong();
    line_.append(bytes.substr(0, end));
    if (end == bytes.size()) return {};
    bytes.remove_prefix(end + 1);
    if (Outcome failure = takeLine()) return failure;
    line_.clear();
  }
  return {};
}

Outcome DifferenceReader::takeLine() {
  return headLines_ < kHeadLines ? takeHead() : takeStep();
}

Outcome DifferenceReader::takeHead() {
  std::string_view line = line_;
  bool isGood = false;
  switch (headLines_++) {
    case 0:
      isGood = line == kFirstLine;
      break;
    case 1:
      isGood = take(line, kBuilds) && (head_.builds = numberFrom(line)) > 0;
      break;
    case 2:
      isGood = take(line, kFrom) && readIdentity(line, head_.from);
      break;
    default:
      isGood = take(line, kTo) && readIdentity(line, head_.to);
  }
  if (!isGood) return wrong();
  if (headLines_ < kHeadLines) return {};
  oldLeft_ = head_.from.size;
  newLeft_ = head_.to.size;
  return handler_.beginLists(head_);
}

Outcome DifferenceReader::takeStep() {
  if (line_.empty() || newLeft_ == 0) return wrong();
  const std::uint64_t size = numberFrom(std::string_view(line_).substr(1));
  const bool isNew = line_.front() == '+';
  const bool isLeftOut = line_.front() == '-';
  if (size == 0 || (!isNew && !isLeftOut && line_.front() != '=')) return wrong();
  if (!isNew) {
    if (size > oldLeft_) return wrong();
    oldLeft_ -= size;
  }
  if (!isLeftOut) {
    if (size > newLeft_) return wrong();
    newLeft_ -= size;
  }
  if (isNew) {
    toInsert_ = size;
    return {};
  }
  return isLeftOut ? handler_.leaveOut(size) : handler_.copy(size);
}

Outcome DifferenceReader::finish() const {
  const bool isComplete =
      headLines_ == kHeadLines && line_.empty() && newLeft_ == 0 && toInsert_ == 0;
  return isComplete ? Outcome() : wrong();
}

std::string differenceText(const ListDifference& difference) {
  const DifferenceHead& head = difference.head;
  std::string text(kFirstLine);
  text.append("\n").append(kBuilds).append(std::to_string(head.builds)).append("\n");
  text.append(kFrom).append(identityText(head.from)).append(kTo).append(identityText(head.to));
  std::uint64_t offset = 0;
  const auto addStep = [&](char kind, std::uint64_t size) {
    text.append(1, kind).append(std::to_string(size)).append(1, '\n');
  };
  for (const ListDifference::Piece& piece : difference.pieces) {
    if (!piece.text.empty()) {
      addStep('+', piece.text.size());
      text += piece.text;
      continue;
    }
    if (piece.offset > offset) addStep('-', piece.offset - offset);
    addStep('=', piece.size);
    offset = piece.offset + piece.size;
  }
  return text;
}

std::optional<ListDifference> parseDifference(std::string_view text) {
  ListDifference difference;
  Collector collector(difference);
  DifferenceReader reader(collector);
  if (reader.feed(text) || reader.finish()) return std::nullopt;
  return difference;
}

}  // namespace mtlupdate
