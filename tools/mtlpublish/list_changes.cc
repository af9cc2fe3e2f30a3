// Compares two lists in one pass over both, which are sorted.
#include "mtlpublish/list_changes.h"

#include <string_view>
#include <unordered_set>

namespace mtlpublish {

namespace {

/// A list of an older version has no digests.
bool haveOtherDigests(const ListEntry& a, const ListEntry& b) {
  return a.sha256 != b.sha256 && !a.sha256.empty() && !b.sha256.empty();
}

bool differ(const ListEntry& a, const ListEntry& b) {
  return a.policy != b.policy || a.size != b.size || a.jpegSize != b.jpegSize ||
         haveOtherDigests(a, b);
}

/// Of what is fetched for them.
bool haveOtherContents(const ListEntry& a, const ListEntry& b) {
  return haveOtherDigests(a, b) || a.fetchedSize() != b.fetchedSize();
}

class Comparison {
 public:
  Comparison(const std::vector<ListEntry>& before, const std::vector<ListEntry>& after)
      : before_(before), after_(after) {}

  ListChanges run() {
    for (const ListEntry& entry : before_) {
      if (entry.policy != DownloadPolicy::kNever && !entry.sha256.empty()) {
        contents_.insert(entry.sha256);
      }
    }
    auto old = before_.begin();
    for (const ListEntry& entry : after_) {
      for (; old != before_.end() && old->path < entry.path; ++old)
        changes_.removed.push_back(old->path);
      const bool isKnown = old != before_.end() && old->path == entry.path;
      compare(isKnown ? &*old : nullptr, entry);
      if (isKnown) ++old;
    }
    for (; old != before_.end(); ++old)
      changes_.removed.push_back(old->path);
    return std::move(changes_);
  }

 private:
  /// `old` is the entry for the same path; null when there was none.
  void compare(const ListEntry* old, const ListEntry& entry) {
    if (old == nullptr) {
      changes_.added.push_back(entry.path);
    } else if (differ(*old, entry)) {
      changes_.changed.push_back(entry.path);
    }
    if (entry.policy == DownloadPolicy::kNever) return;
    const bool isThere = old != nullptr && old->policy != DownloadPolicy::kNever;
    const bool isMissing = entry.policy == DownloadPolicy::kMissing;
    if (!isMissing || !isThere) changes_.byModule.add(entry.fetchedSize());
    if (isThere && !haveOtherContents(*old, entry)) return;
    if (isThere && isMissing) changes_.unreachable.push_back(entry.path);
    // The kit copies what the copy has under another name, or gets for another file.
    if (entry.sha256.empty() || contents_.insert(entry.sha256).second) {
      changes_.byKit.add(entry.fetchedSize());
    }
  }

  const std::vector<ListEntry>& before_;
  const std::vector<ListEntry>& after_;
  /// Digests of what a client of the kit has, or is to fetch.
  std::unordered_set<std::string_view> contents_;
  ListChanges changes_;
};

}  // namespace

ListChanges changesBetween(const std::vector<ListEntry>& before,
                           const std::vector<ListEntry>& after) {
  return Comparison(before, after).run();
}

}  // namespace mtlpublish
