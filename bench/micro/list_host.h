// A host for benchmarks of lists: lists of any length, and the files that parsing looks for.
#ifndef MTLLIB_BENCH_MICRO_LIST_HOST_H_
#define MTLLIB_BENCH_MICRO_LIST_HOST_H_

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>

#include "catalogue/list_file.h"
#include "host.h"
#include "qutils/stream.h"
#include "support/temp_dir.h"

/// What every entry of a list is.
enum class Entries : int {
  kAlways = 0,
  kPresent = 1,  ///< To be fetched when missing, and there.
  kAbsent = 2    ///< To be fetched when missing, and not there, in a folder that is.
};

/// Whatever the number of entries, there are 10 folders; and 100 files where files are
/// present, each listed again and again. So only the length of the list makes a difference,
/// not the size of the directories that it is compared with.
class ListHost {
 public:
  explicit ListHost(Entries entries) : entries_(entries) {
    for (std::int32_t i = 0; i < kFiles; ++i) {
      if (entries == Entries::kPresent) writeFile(host_.directory / pathOf(i), "here");
    }
    for (std::int32_t i = 0; i < kFolders; ++i)
      std::filesystem::create_directories(host_.directory / folderOf(i));
  }

  /// Writes a list whose entries take the same room at every count. False when it fails.
  bool writeList(QUtils::PStream& stream, std::int32_t count) const {
    const char* policy = entries_ == Entries::kAlways ? "always" : "missing";
    bool isWritten = !stream.WriteString("[\n");
    for (std::int32_t i = 0; i < count && isWritten; ++i) {
      char line[128];
      std::snprintf(line, sizeof(line),
                    "  {\"path\": \"%s\", \"size\": 65536, \"download\": \"%s\"}%s\n",
                    pathOf(i).c_str(), policy, i + 1 < count ? "," : "");
      isWritten = !stream.WriteString(line);
    }
    return isWritten && !stream.WriteString("]\n");
  }

  /// Parses a list of `count` entries. False when that fails or selects others than it must.
  bool parse(QUtils::PStream& stream, std::int32_t count) {
    DownloaderImpl::ListFile list;
    if (host_.downloader.parseListFile(stream, list) != 0) return false;
    if (entries_ == Entries::kPresent) return list.count == 0;
    return list.count == count && isEntry(list, 0) && isEntry(list, count - 1);
  }

 private:
  static constexpr std::int32_t kFolders = 10;
  static constexpr std::int32_t kFiles = 100;

  static std::string folderOf(std::int32_t i) {
    return "maps/wood-" + std::to_string(i % kFolders);
  }

  std::string pathOf(std::int32_t i) const {
    char name[32];
    std::snprintf(name, sizeof(name), "/oak-%07d.tx",
                  entries_ == Entries::kPresent ? i % kFiles : i);
    return folderOf(i) + name;
  }

  bool isEntry(const DownloaderImpl::ListFile& list, std::int32_t i) const {
    const ListFileEntry& entry = list.entries[static_cast<std::size_t>(i)];
    return entry.localName == pathOf(i).c_str() && entry.remoteName == pathOf(i).c_str() &&
           entry.size == 65536;
  }

  Host host_;
  Entries entries_;
};

#endif  // MTLLIB_BENCH_MICRO_LIST_HOST_H_
