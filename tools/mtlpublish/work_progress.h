// WorkProgress records how far a long piece of work has come; a line on a terminal shows it.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_WORK_PROGRESS_H_
#define MTLLIB_TOOLS_MTLPUBLISH_WORK_PROGRESS_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

#include "common/console.h"

namespace mtlpublish {

struct WorkProgress {
  std::size_t filesDone = 0;
  std::size_t files = 0;
  std::uint64_t bytesDone = 0;
  std::uint64_t bytes = 0;
  /// The one that was begun last.
  std::string file;
};

/// Called about ten times a second, on the thread that requested the work.
using OnProgress = std::function<void(const WorkProgress&)>;

/// Counts what is done. Used by any number of threads.
class WorkCounter {
 public:
  WorkCounter(std::size_t files, std::uint64_t bytes) {
    progress_.files = files;
    progress_.bytes = bytes;
  }

  void begin(const std::string& file) {
    const std::lock_guard lock(mutex_);
    progress_.file = file;
  }
  void addBytes(std::uint64_t count) {
    const std::lock_guard lock(mutex_);
    progress_.bytesDone += count;
  }
  /// Counts the bytes of one file, given how many of them there have been so far.
  std::function<bool(std::uint64_t)> bytesOfFile() {
    return [this, before = std::uint64_t{0}](std::uint64_t total) mutable {
      addBytes(total - before);
      before = total;
      return true;
    };
  }
  void endFile() {
    const std::lock_guard lock(mutex_);
    ++progress_.filesDone;
  }

  WorkProgress progress() const {
    const std::lock_guard lock(mutex_);
    return progress_;
  }

 private:
  mutable std::mutex mutex_;
  WorkProgress progress_;
};

/// "12 of 340 files, 1.2 MB of 3.4 GB  maps/oak.tx", fit for a terminal.
std::string progressText(const WorkProgress& progress);

/// Draws the progress in the status line of `console`, which must outlive the result, at
/// most ten times a second; nothing unless on a terminal.
OnProgress shownOn(common::Console& console);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_WORK_PROGRESS_H_
