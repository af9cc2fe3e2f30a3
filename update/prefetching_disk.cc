// Looks at files ahead of time. A file that was not reached in time is looked at when it is asked
// for.
#include "update/prefetching_disk.h"

namespace mtlupdate {

// Where no thread can be had, nothing is looked at ahead.
PrefetchingDisk::PrefetchingDisk(Folder& folder)
    : FolderDisk(folder),
      folder_(folder),
      running_(std::async(std::launch::async | std::launch::deferred, [this] { run(); })) {}

PrefetchingDisk::~PrefetchingDisk() {
  isEnding_ = true;
}

void PrefetchingDisk::run() {
  state_ = readState(folder_);
  identities_.reserve(state_.files().size());
  for (const KnownFile& file : state_.files()) {
    if (isEnding_) return;
    Look look;
    const bool isFile = !FolderDisk::look(file.path, look) && look.kind == FileKind::kFile &&
                        look.blockedBy.empty();
    identities_.push_back(isFile ? std::optional(look.identity) : std::nullopt);
    ++count_;
  }
}

const State& PrefetchingDisk::state() {
  isEnding_ = true;
  if (running_.valid()) running_.get();
  return state_;
}

std::error_code PrefetchingDisk::look(std::string_view path, Look& found) {
  const KnownFile* const known = state().find(path);
  if (known != nullptr) {
    const auto number = static_cast<std::size_t>(known - state_.files().data());
    if (number < identities_.size() && identities_[number]) {
      found = {};
      found.kind = FileKind::kFile;
      found.identity = *identities_[number];
      return {};
    }
  }
  return FolderDisk::look(path, found);
}

}  // namespace mtlupdate
