// Locks a copy. The file stays when the lock is released: otherwise a run could remove the file
// that another run has just locked.
#include "update/lock.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <system_error>
#include <thread>

#include "update/own_files.h"

namespace mtlupdate {

namespace {

constexpr std::chrono::milliseconds kPause{100};

Failure busyWith(std::int64_t holder) {
  std::string text = "another run is using this folder";
  if (holder != 0) text += ": process " + std::to_string(holder);
  return {Failure::Kind::kBusy, text, "", true};
}

}  // namespace

Outcome Lock::take(Folder& folder, const std::function<bool(std::int64_t holder)>& wait) {
  if (const std::error_code error = folder.makeFolders(kOwnFolder)) {
    return diskFailure("cannot make the folder", kOwnFolder, error);
  }
  while (true) {
    std::int64_t holder = 0;
    const std::error_code error = folder.lock(kLockFile, file_, holder);
    if (!error) return {};
    if (error != std::errc::resource_unavailable_try_again) {
      return diskFailure("cannot lock the file", kLockFile, error);
    }
    if (!wait) return busyWith(holder);
    if (!wait(holder)) return Failure{Failure::Kind::kCancelled, "the run was stopped"};
    std::this_thread::sleep_for(kPause);
  }
}

}  // namespace mtlupdate
