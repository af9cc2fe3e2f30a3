// Releases of a library that tests make up: files change, move, come and go from one to the next.
#ifndef MTLLIB_TESTS_UPDATE_MADE_UP_LIBRARY_H_
#define MTLLIB_TESTS_UPDATE_MADE_UP_LIBRARY_H_

#include <map>
#include <string>

#include "update/listing.h"
#include "update/sha256.h"

inline std::string madeUpStamp(int release) {
  return "stamp of release " + std::to_string(release);
}

/// The content of each file by its path. Releases differ in every way: what is a file in one is a
/// folder in the next.
inline std::map<std::string, std::string> madeUpLibrary(int release) {
  const std::string number = std::to_string(release);
  const bool isEven = release % 2 == 0;
  return {{"always/the same.tx", std::string(1000, 's')},
          {"changes/each time.tx", std::string(2000, static_cast<char>('a' + release))},
          {"changes/twice/a.tx", "twice " + number},
          {"changes/twice/b.tx", "twice " + number},
          {"moves/to " + number + ".tx", std::string(1500, 'm')},
          {"only in " + number + "/a.tx", "only in " + number},
          {isEven ? "turns/a" : "turns/a/file.tx", "turns " + number},
          {isEven ? "turns/b/file.tx" : "turns/b", "turns back " + number},
          {"empty.tx", ""}};
}

inline mtlupdate::Listing listingOf(const std::map<std::string, std::string>& files) {
  mtlupdate::Listing listing;
  for (const auto& [path, content] : files) {
    mtlupdate::Sha256 sha256;
    sha256.update(content);
    listing.add({path, path, content.size(), sha256.finish(), mtlrules::DownloadPolicy::kAlways});
  }
  return listing;
}

#endif  // MTLLIB_TESTS_UPDATE_MADE_UP_LIBRARY_H_
