// How the local copy differs from the library's list, for those who tell and those who fix.
#ifndef MTLLIB_TOOLS_MTLSYNC_COMPARISON_H_
#define MTLLIB_TOOLS_MTLSYNC_COMPARISON_H_

#include <functional>
#include <string>
#include <system_error>
#include <vector>

#include "library_list/listed_files.h"
#include "mtlsync/error_text.h"
#include "mtlsync/local_copy.h"
#include "mtlsync/options.h"
#include "mtlsync/sync_observer.h"

namespace mtlsync {

/// A local file that is not as listed.
struct Difference {
  enum class Kind {
    kMissing,
    kIrregular,  ///< No regular file, nor a link to one that is as listed.
    kSize,
    kContent,    ///< Another SHA-256, with the right size.
    kUnreadable  ///< `error` tells why.
  };
  Kind kind;
  LocalFile file;
  std::string text;  ///< In words: "has 3 bytes instead of 5".
  std::error_code error{};
};

/// Fetches the library's list and adds the files that clients keep to `files`. False, for a
/// reason that is in `problem` or known to the observer, when that cannot be done.
bool fetchFiles(const Options& options, SyncObserver& observer,
                std::vector<library_list::ListedFile>& files, ErrorEntries& problem);

/// Compares the local copy with the list, in the list's order: presence, and size and
/// content of files whose size and SHA-256 are listed. Changes nothing. False when `found`,
/// which is told of each difference, or the observer ended it.
///
/// Throws std::system_error for a name that this system cannot have.
bool compareCopy(const Options& options, const std::vector<library_list::ListedFile>& files,
                 SyncObserver& observer, const std::function<bool(const Difference&)>& found);

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_COMPARISON_H_
