// A PrefetchingDisk object looks at the files that the last update left, on a thread of its own,
// while the list of the next update is still arriving: with many files both take about the same
// time.
#ifndef MTLLIB_UPDATE_PREFETCHING_DISK_H_
#define MTLLIB_UPDATE_PREFETCHING_DISK_H_

#include <atomic>
#include <cstddef>
#include <future>
#include <optional>
#include <string_view>
#include <system_error>
#include <vector>

#include "update/disk.h"
#include "update/state.h"
#include "update/system.h"

namespace mtlupdate {

/// The disk as it was at some moment since the construction, when all looking began. Apart from
/// its own thread, one thread at a time calls. The folder must live longer.
class PrefetchingDisk final : public FolderDisk {
 public:
  explicit PrefetchingDisk(Folder& folder);
  ~PrefetchingDisk() override;

  /// Files that have been looked at.
  std::size_t count() const { return count_; }

  /// What the last update left. The looking ahead ends with the first call, however far it has
  /// come: who asks would have to wait for it.
  const State& state();

  std::error_code look(std::string_view path, Look& found) override;

 private:
  void run();

  Folder& folder_;
  State state_;
  /// Of the first files of the state; none where there is anything other than a file.
  std::vector<std::optional<FileIdentity>> identities_;
  std::atomic<std::size_t> count_{0};
  std::atomic<bool> isEnding_{false};
  std::future<void> running_;  // Last: the thread uses all others.
};

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_PREFETCHING_DISK_H_
