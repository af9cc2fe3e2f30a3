// Makes and joins differences. A list is sorted and has one entry a line, so that a line is either
// where it was or gone. No earlier list needs to be kept: the difference from it to the last list
// is joined with the one from there to the new list.
#include "mtlpublish/list_differences.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

namespace mtlpublish {

namespace {

using mtlupdate::ListDifference;
using Piece = ListDifference::Piece;

/// Puts pieces together that follow each other.
class Pieces {
 public:
  void copy(std::uint64_t offset, std::uint64_t size) {
    const bool goesOn = !pieces_.empty() && pieces_.back().text.empty() &&
                        pieces_.back().offset + pieces_.back().size == offset;
    if (goesOn) {
      pieces_.back().size += size;
    } else {
      pieces_.push_back({offset, size, {}});
    }
  }
  void insert(std::string_view text) {
    if (pieces_.empty() || pieces_.back().text.empty()) pieces_.emplace_back();
    pieces_.back().text += text;
    pieces_.back().size += text.size();
  }

  std::vector<Piece> take() { return std::move(pieces_); }

 private:
  std::vector<Piece> pieces_;
};

/// The first line of a text, with its end, which is taken off.
std::string_view takeLine(std::string_view& text) {
  const std::size_t end = text.find('\n');
  const std::string_view line = text.substr(0, end == text.npos ? end : end + 1);
  text.remove_prefix(line.size());
  return line;
}

}  // namespace

mtlupdate::ListIdentity identityOf(std::string_view list) {
  mtlupdate::Sha256 sha256;
  sha256.update(list);
  return {list.size(), sha256.finish().value_or(mtlupdate::Digest{})};
}

ListDifference differenceBetween(std::string_view from, std::string_view to) {
  std::unordered_map<std::string_view, std::size_t> places;
  for (std::string_view rest = from; !rest.empty();) {
    const std::size_t place = from.size() - rest.size();
    places.emplace(takeLine(rest), place);
  }
  Pieces pieces;
  std::size_t next = 0;  // Of the old list, behind what was copied.
  for (std::string_view rest = to; !rest.empty();) {
    const std::string_view line = takeLine(rest);
    const auto place = places.find(line);
    if (place != places.end() && place->second >= next) {
      pieces.copy(place->second, line.size());
      next = place->second + line.size();
    } else {
      pieces.insert(line);
    }
  }
  return {{1, identityOf(from), identityOf(to)}, pieces.take()};
}

ListDifference joined(const ListDifference& first, const ListDifference& second) {
  Pieces pieces;
  std::size_t piece = 0;    // Of `first`, and
  std::uint64_t begin = 0;  // where in the list between it begins.
  for (const Piece& step : second.pieces) {
    if (!step.text.empty()) {
      pieces.insert(step.text);
      continue;
    }
    std::uint64_t offset = step.offset;
    const std::uint64_t end = step.offset + step.size;
    while (offset < end) {
      const Piece& part = first.pieces[piece];
      if (offset >= begin + part.size) {
        begin += part.size;
        ++piece;
        continue;
      }
      const std::uint64_t inside = offset - begin;
      const std::uint64_t size = std::min(end - offset, part.size - inside);
      if (part.text.empty()) {
        pieces.copy(part.offset + inside, size);
      } else {
        pieces.insert(std::string_view(part.text).substr(static_cast<std::size_t>(inside),
                                                         static_cast<std::size_t>(size)));
      }
      offset += size;
    }
  }
  return {{first.head.builds + second.head.builds, first.head.from, second.head.to}, pieces.take()};
}

}  // namespace mtlpublish
