// Describes a local copy without using the network.
#ifndef MTLLIB_TOOLS_MTLSYNC_STATUS_H_
#define MTLLIB_TOOLS_MTLSYNC_STATUS_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "mtlsync/exit_status.h"
#include "mtlsync/options.h"
#include "mtlsync/sync_observer.h"

namespace mtlsync {

/// A local copy as its folder shows it.
struct CopyStatus {
  std::string stamp;          ///< Its first line that is not blank, printable; "" without one.
  std::int64_t since = 0;     ///< When the stamp was written, in seconds since 1970.
  std::int64_t files = 0;     ///< Regular files in the folder of the stamp, but for the stamp.
  std::int64_t bytes = 0;     ///< Their sizes.
  bool isUnfinished = false;  ///< An update was cut; the next one continues from there.
  mtlhost::CopySignature signature{};
  std::vector<std::string> unread;  ///< Why what could not be looked at is not counted.
};

enum class StatusResult {
  kRead,
  kNoStamp,     ///< There is no complete copy; `problem` says what is there instead.
  kUnreadable,  ///< `problem` says why.
  kWrongKey,    ///< `problem` says which of the keys cannot be used.
  kStopped      ///< `stop` answered true.
};

StatusResult readStatus(const Options& options, const std::function<bool()>& stop,
                        CopyStatus& status, mtlhost::Errors& problem);

/// The same, printed for people or for programs as the options say.
ExitStatus tellStatus(const Options& options, const SyncObserver::Outputs& outputs,
                      const std::function<bool()>& stop);

/// The moment in local time, "2026-03-01 14:05:09".
std::string localTimeText(std::int64_t secondsSince1970);

/// The same in universal time, "2026-03-01T13:05:09Z".
std::string universalTimeText(std::int64_t secondsSince1970);

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_STATUS_H_
