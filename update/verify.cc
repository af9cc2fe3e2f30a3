// Compares files: first those of the list, then the folders, for files that the list does not
// have.
#include "update/verify.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <system_error>
#include <utility>

#include "rules/own_names.h"
#include "update/disk.h"
#include "update/own_files.h"
#include "update/places.h"

namespace mtlupdate {

namespace {

class Verification {
 public:
  Verification(Folder& folder, const Listing& listing, std::string_view subPath,
               const std::function<bool()>& shouldContinue, VerifyResult& result)
      : folder_(folder),
        listing_(listing),
        subPath_(subPath),
        shouldContinue_(shouldContinue),
        result_(result) {}

  Outcome run() {
    for (std::size_t i = 0; i < listing_.size(); ++i) {
      // Updates pass over the others.
      if (places_.of(i) != Places::Verdict::kAlone) continue;
      if (Outcome failure = compare(listing_[i])) return failure;
    }
    return lookForOthers({});
  }

 private:
  static Outcome cancelled() { return Failure{Failure::Kind::kCancelled, "stopped on request"}; }

  void add(Difference::Kind kind, std::string_view path, std::string reason = {}) {
    result_.differences.push_back({kind, std::string(path), std::move(reason)});
  }
  void addUnreadable(std::string_view path, const std::error_code& error) {
    add(Difference::Kind::kUnreadable, path, systemText(error));
  }

  Outcome compare(const Entry& entry) {
    if (!shouldContinue_()) return cancelled();
    if (mtlrules::isOwnName(entry.path, subPath_)) return {};
    Look look;
    if (const std::error_code error = folder_.look(entry.path, look)) {
      addUnreadable(entry.path, error);
      return {};
    }
    if (!look.blockedBy.empty() || look.kind != FileKind::kFile) {
      add(Difference::Kind::kMissing, entry.path);
      return {};
    }
    const bool mayChange = entry.policy == mtlrules::DownloadPolicy::kMissing;
    if (entry.size && *entry.size != look.identity.size) {
      add(mayChange ? Difference::Kind::kChanged : Difference::Kind::kWrongSize, entry.path);
      return {};
    }
    if (!entry.sha256) return {};
    Digest digest{};
    const std::uint64_t before = result_.bytesRead;
    const auto shouldContinue = [&](std::uint64_t bytes) {
      result_.bytesRead = before + bytes;
      return shouldContinue_();
    };
    const std::error_code error = FolderDisk(folder_).digest(entry.path, shouldContinue, digest);
    if (error == std::errc::operation_canceled) return cancelled();
    if (error) {
      addUnreadable(entry.path, error);
      return {};
    }
    ++result_.filesRead;
    result_.bytesRead = before + look.identity.size;
    if (digest == *entry.sha256) return {};
    add(mayChange ? Difference::Kind::kChanged : Difference::Kind::kDamaged, entry.path);
    return {};
  }

  // Folders are visited without recursion: they may be nested as deeply as the system allows.
  Outcome lookForOthers(std::string_view top) {
    std::vector<std::string> folders{std::string(top)};
    while (!folders.empty()) {
      const std::string folder = std::move(folders.back());
      folders.pop_back();
      std::vector<std::string> names;
      if (const std::error_code error = folder_.names(folder, names)) {
        if (folder == top) return diskFailure("cannot be read", folder, error);
        addUnreadable(folder, error);
        continue;
      }
      std::sort(names.begin(), names.end());
      for (const std::string& name : names) {
        if (!shouldContinue_()) return cancelled();
        std::string path = folder;
        if (!path.empty()) path += '/';
        path += name;
        if (places_.isTaken(path)) continue;
        Look look;
        if (const std::error_code error = folder_.look(path, look)) {
          addUnreadable(path, error);
          continue;
        }
        // The folders that contain the stamp may hold other files.
        const bool isFolder = look.kind == FileKind::kFolder;
        if (mtlrules::isOwnName(isFolder ? path + "/x" : path, subPath_)) continue;
        if (isFolder) {
          folders.push_back(std::move(path));
        } else if (look.kind != FileKind::kNone) {
          add(Difference::Kind::kExtra, path);
        }
      }
    }
    return {};
  }

  Folder& folder_;
  const Listing& listing_;
  const Places places_{listing_};
  std::string_view subPath_;
  const std::function<bool()>& shouldContinue_;
  VerifyResult& result_;
};

}  // namespace

Outcome verifyCopy(Folder& folder, const Listing& listing, std::string_view subPath,
                   const std::function<bool()>& shouldContinue, VerifyResult& result) {
  return Verification(folder, listing, subPath, shouldContinue, result).run();
}

}  // namespace mtlupdate
