// Only what the list tells can be compared; bytes are read last of all.
#include "mtlsync/comparison.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <optional>

#include "common/system.h"
#include "library_list/list_fetch.h"
#include "mtlhost/system.h"
#include "rules/address.h"
#include "update/file_digest.h"

namespace mtlsync {

namespace {

namespace fs = std::filesystem;
using library_list::ListedFile;

std::optional<std::string> proxyOf(const Options& options) {
  if (options.proxyMode == PROXY_MODE_DISABLED) return "";
  if (options.proxyMode == PROXY_MODE_EXPLICIT) return options.proxyAddress;
  return std::nullopt;
}

std::string countText(std::uintmax_t bytes) {
  return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");
}

/// Whatever a list says, sums of it stay far from what a number can hold.
constexpr std::int64_t kMostBytes = std::numeric_limits<std::int64_t>::max() / 4;

std::int64_t sumOf(std::int64_t a, std::int64_t b) {
  return a + std::min(b, kMostBytes - a);
}

/// How much is to be read for it.
std::int64_t bytesToRead(const ListedFile& file) {
  return file.sha256.empty() ? 0 : file.size.value_or(0);
}

class Comparison {
 public:
  Comparison(const Options& options, SyncObserver& observer,
             const std::function<bool(const Difference&)>& found)
      : options_(options), observer_(observer), found_(found) {}

  bool run(const std::vector<ListedFile>& files) {
    std::int64_t total = 0;
    for (const ListedFile& file : files)
      total = sumOf(total, bytesToRead(file));
    observer_.comparisonBegins(static_cast<std::int64_t>(files.size()), total);
    bool goesOn = true;
    for (std::size_t i = 0; goesOn && i < files.size(); ++i) {
      goesOn = observer_.comparing(files[i].path, bytesBefore_) && compare(files[i]);
      bytesBefore_ = sumOf(bytesBefore_, bytesToRead(files[i]));
    }
    observer_.comparisonEnds();
    return goesOn;
  }

 private:
  using Kind = Difference::Kind;

  /// Whether to go on.
  bool compare(const ListedFile& listed) {
    const LocalFile file = localFile(options_, listed.path);
    std::error_code error;
    const fs::file_status status = fs::symlink_status(file.path, error);
    if (status.type() == fs::file_type::none) {
      return found_({Kind::kUnreadable, file,
                     "cannot be looked at: " + mtlhost::systemErrorText(error), error});
    }
    if (!fs::exists(status)) return found_({Kind::kMissing, file, "is missing"});
    if (!fs::is_regular_file(file.path, error)) return tellIrregular(file);
    const std::uintmax_t size = fs::file_size(file.path, error);
    if (listed.size && size != static_cast<std::uintmax_t>(*listed.size)) {
      return tell(status,
                  {Kind::kSize, file,
                   "has " + countText(size) + " instead of " + std::to_string(*listed.size)});
    }
    return listed.sha256.empty() || compareContent(listed, file, status);
  }

  bool compareContent(const ListedFile& listed, const LocalFile& file,
                      const fs::file_status& status) {
    mtlupdate::FileDigest digest;
    const std::error_code error =
        mtlupdate::digestFile(file.path, digest, [&](std::uint64_t bytes) {
          return observer_.comparing(listed.path, bytesBefore_ + static_cast<std::int64_t>(bytes));
        });
    if (error == std::errc::operation_canceled) return false;
    if (error) {
      return found_(
          {Kind::kUnreadable, file, "cannot be read: " + mtlhost::systemErrorText(error), error});
    }
    if (mtlupdate::hexText(digest.sha256) == listed.sha256) return true;
    return tell(status, {Kind::kContent, file, "has the wrong content"});
  }

  // What a link leads to is the user's.
  bool tell(const fs::file_status& status, const Difference& difference) {
    return fs::is_regular_file(status) ? found_(difference) : tellIrregular(difference.file);
  }

  bool tellIrregular(const LocalFile& file) {
    return found_({Kind::kIrregular, file, "is not a regular file"});
  }

  const Options& options_;
  SyncObserver& observer_;
  const std::function<bool(const Difference&)>& found_;
  std::int64_t bytesBefore_ = 0;
};

}  // namespace

bool fetchFiles(const Options& options, SyncObserver& observer, std::vector<ListedFile>& files,
                ErrorEntries& problem) {
  library_list::FetchRequest request;
  request.url = mtlrules::listUrl(mtlrules::withoutTrailingSlashes(options.url), options.subPath);
  if (request.url.empty()) {
    problem = {ownError("Could not use the address \"" + options.url + "\"")};
    return false;
  }
  request.userAgent = "mtlsync/" MTLSYNC_VERSION;
  request.proxy = proxyOf(options);
  request.trust = library_list::trustStoreOf(common::environmentVariable);
  // The limits of the run hold here, too.
  request.stop = [&](std::int64_t received) { return !observer.listReceived(received); };
  observer.progressText("Getting file list");
  const library_list::FetchResult result = library_list::fetchList(request);
  observer.progressEnds();
  if (result.outcome == library_list::FetchResult::Outcome::kStopped) return false;
  const std::string list = " the list \"" + request.url + "\"";
  if (result.outcome == library_list::FetchResult::Outcome::kFailed) {
    problem = {ownError("Could not fetch" + list), ownError(result.problem)};
    return false;
  }
  const std::string refusal = library_list::readList(result.text, options.subPath, files);
  if (!refusal.empty()) problem = {ownError("Could not use" + list), ownError(refusal)};
  return refusal.empty();
}

bool compareCopy(const Options& options, const std::vector<ListedFile>& files,
                 SyncObserver& observer, const std::function<bool(const Difference&)>& found) {
  return Comparison(options, observer, found).run(files);
}

}  // namespace mtlsync
