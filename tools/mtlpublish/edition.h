// An Edition is what a build makes for clients that give the same sub-path, or none: a list, a
// stamp, and the costs of both for clients.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_EDITION_H_
#define MTLLIB_TOOLS_MTLPUBLISH_EDITION_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "mtlpublish/digest_files.h"
#include "mtlpublish/library_entries.h"
#include "mtlpublish/library_stamp.h"
#include "mtlpublish/list_changes.h"
#include "mtlpublish/release_parts.h"
#include "signing/release_comment.h"

namespace mtlpublish {

struct EditionResult {
  /// That clients give; "" for none.
  std::string subPath{};
  /// Where clients look for the list; "" when the library's address is not known.
  std::string listUrl{};
  /// The number of entries in the list.
  std::size_t files = 0;
  /// What they amount to when they are fetched.
  std::uint64_t bytes = 0;
  /// The new id, 64 hexadecimal digits: another one exactly when the list, a path or a content is
  /// another one. "" when the library is signed.
  std::string id{};
  /// What was signed, or is to be.
  std::optional<mtlsigning::Release> release{};
  /// Neither this stamp nor any list was there before.
  bool isFirst = false;
  /// The stamp was another one before, or there was none.
  bool isNew = false;
  /// The stamp is that of the last build, but its list was changed or removed since.
  bool isListRestored = false;
  /// Since the last build; none when there is no list of one, or it cannot be read.
  std::optional<ListChanges> changes{};
  /// What a client of the kit asks for, and one of the module, that has all of the last build, or
  /// nothing before the first: stamp, list and files.
  Fetches byKit{};
  Fetches byModule{};
};

struct EditionOptions {
  /// Of the view that it is; "" for the library itself.
  std::string view{};
  /// The library's; "" when it is not known.
  std::string address{};
  ListingOptions listing{};
  SigningOptions signing{};
  /// From how many builds before this one there are to be list differences.
  std::size_t differences = 0;
  /// Nothing is to be signed.
  bool isTrial = false;
  /// When the build begins.
  std::chrono::system_clock::time_point start{};
};

class Edition {
 public:
  /// `folder` is where list and stamp are, canonical as far as it exists. Reads what is known of
  /// the last release.
  Edition(std::filesystem::path folder, EditionOptions options);
  Edition(const Edition&) = delete;
  Edition& operator=(const Edition&) = delete;

  const LibrarySigner& signer() const { return signer_; }

  /// Makes list and stamp of the files, which are sorted by path, and compares them with the last
  /// build's. Writes nothing.
  void make(const std::vector<DigestedFile>& files);

  // What make() found:

  const std::vector<std::string>& problems() const { return problems_; }
  const std::vector<std::string>& warnings() const { return warnings_; }
  const std::vector<ListEntry>& entries() const { return entries_; }
  const BuildRecord& record() const { return record_; }
  PlacedParts parts() const { return {folder_, parts_}; }
  const EditionResult& result() const { return result_; }

 private:
  std::string makeStamp();
  void compareWithLastBuild(const std::string& stamp);
  void refuseUnreachable();

  std::filesystem::path folder_;
  EditionOptions options_;
  LibrarySigner signer_;
  std::vector<ListEntry> entries_;
  BuildRecord record_;
  ReleaseParts parts_;
  std::vector<std::string> problems_;
  std::vector<std::string> warnings_;
  EditionResult result_;
};

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_EDITION_H_
