// A Lock keeps all other runs away from the folder of a copy. It locks the file ".mtllib/lock";
// the system releases the lock when the process ends, in whatever way.
#ifndef MTLLIB_UPDATE_LOCK_H_
#define MTLLIB_UPDATE_LOCK_H_

#include <functional>

#include "update/failure.h"
#include "update/system.h"

namespace mtlupdate {

/// Given back by the destructor.
class Lock {
 public:
  /// Takes the lock of the copy. Fails with kBusy, and names the process, when another run has it,
  /// in this process or in another one; with `wait`, tries ten times a second instead. `wait` is
  /// asked each time, with the number of that process, whether to continue, and kCancelled is the
  /// failure when it answers false.
  Outcome take(Folder& folder, const std::function<bool(std::int64_t holder)>& wait = {});

 private:
  File file_;
};

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_LOCK_H_
