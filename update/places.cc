// Finds places by sorting the paths, so that those that affect each other are neighbours.
#include "update/places.h"

#include <algorithm>
#include <iterator>

#include "platform/file_names.h"
#include "rules/ascii.h"

namespace mtlupdate {

namespace {

/// The order of paths in which those below a folder follow it at once.
bool isPathBefore(std::string_view a, std::string_view b) {
  const auto [left, right] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
  if (left == a.end() || right == b.end()) return right != b.end();
  if (*left == '/' || *right == '/') return *left == '/';
  return *left < *right;
}

}  // namespace

std::string foldedCase(std::string_view path) {
  std::string folded(path);
  for (char& c : folded)
    c = mtlrules::asciiLower(c);
  return folded;
}

bool isBelow(std::string_view path, std::string_view folder) {
  return path.size() > folder.size() && path[folder.size()] == '/' &&
         path.substr(0, folder.size()) == folder;
}

bool Places::precedes(const Place& a, const Place& b) {
  return a.path == b.path ? a.number < b.number : isPathBefore(a.path, b.path);
}

Places::Places(const Listing& listing) : verdicts_(listing.size(), Verdict::kAlone) {
  places_.reserve(listing.size());
  for (std::size_t i = 0; i < listing.size(); ++i) {
    const std::string_view path = listing[i].path;
    places_.push_back({Platform::kHasWindowsNames ? texts_.keep(foldedCase(path)) : path, i});
  }
  // As lists are, most often.
  if (!std::is_sorted(places_.begin(), places_.end(), precedes)) {
    std::sort(places_.begin(), places_.end(), precedes);
  }
  for (std::size_t i = 0; i + 1 < places_.size(); ++i) {
    const Place& next = places_[i + 1];
    if (next.path == places_[i].path) verdicts_[places_[i].number] = Verdict::kSame;
    if (isBelow(next.path, places_[i].path)) verdicts_[places_[i].number] = Verdict::kFolder;
  }
}

bool Places::isTaken(std::string_view path) const {
  const std::string folded = Platform::kHasWindowsNames ? foldedCase(path) : std::string();
  if (Platform::kHasWindowsNames) path = folded;
  // Most often paths are asked about in their order.
  if (next_ < places_.size() && places_[next_].path == path &&
      verdicts_[places_[next_].number] == Verdict::kAlone) {
    ++next_;
    return true;
  }
  const auto next = std::upper_bound(
      places_.begin(), places_.end(), path,
      [](std::string_view other, const Place& place) { return isPathBefore(other, place.path); });
  next_ = static_cast<std::size_t>(next - places_.begin());
  if (next == places_.begin()) return false;
  const Place& last = *std::prev(next);
  return last.path == path && verdicts_[last.number] == Verdict::kAlone;
}

}  // namespace mtlupdate
