// One walk over both lists, as they are sorted.
#include "mtlpublish/list_changes.h"

namespace mtlpublish {

namespace {

/// A list of an older version has no digests.
bool differ(const ListEntry& a, const ListEntry& b) {
  const bool digestsDiffer = a.sha256 != b.sha256 && !a.sha256.empty() && !b.sha256.empty();
  return a.policy != b.policy || a.size != b.size || a.jpegSize != b.jpegSize || digestsDiffer;
}

bool isFetched(const ListEntry& entry, const ListEntry* before) {
  if (entry.policy == DownloadPolicy::kMissing) {
    return before == nullptr || before->policy == DownloadPolicy::kNever;
  }
  return entry.policy == DownloadPolicy::kAlways;
}

}  // namespace

ListChanges changesBetween(const std::vector<ListEntry>& before,
                           const std::vector<ListEntry>& after) {
  ListChanges changes;
  auto old = before.begin();
  for (const ListEntry& entry : after) {
    for (; old != before.end() && old->path < entry.path; ++old)
      changes.removed.push_back(old->path);
    const bool isKnown = old != before.end() && old->path == entry.path;
    if (!isKnown) {
      changes.added.push_back(entry.path);
    } else if (differ(*old, entry)) {
      changes.changed.push_back(entry.path);
    }
    if (isFetched(entry, isKnown ? &*old : nullptr)) changes.bytesToFetch += entry.fetchedSize();
    if (isKnown) ++old;
  }
  for (; old != before.end(); ++old)
    changes.removed.push_back(old->path);
  return changes;
}

}  // namespace mtlpublish
