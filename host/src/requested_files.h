// RequestedFiles keeps track of the files that the module has requested and not yet saved, from
// what the module reports about them.
#ifndef MTLLIB_HOST_SRC_REQUESTED_FILES_H_
#define MTLLIB_HOST_SRC_REQUESTED_FILES_H_

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace mtlhost {

/// Up to five at once, each on one of the module's requests. Used by one thread at a time.
class RequestedFiles {
 public:
  /// "Downloading file": this one is asked for, on a request of its own, or on that of the file
  /// that was saved just before.
  void begin(std::string name);
  /// "Saving file": it was received.
  void save(const std::string& name);
  /// The request has received so many bytes.
  void receive(const void* request, std::int64_t bytes);

  /// After a chain that does not name a file: the one that was not received. When the last files
  /// are on their way, the module waits for them in the order of its requests, and saves each that
  /// was received, up to the first that was not. "" for none.
  std::string failedFile(const std::string& folder) const;

 private:
  struct File {
    std::string name;
    const void* request = nullptr;  ///< Null until it was heard of.
    std::int64_t bytes = 0;
  };

  bool isSaved(const File& file, const std::string& folder) const;

  std::filesystem::file_time_type since_{};  ///< When the first one was asked for.
  std::vector<File> files_;
  const void* freeRequest_ = nullptr;
};

}  // namespace mtlhost

#endif  // MTLLIB_HOST_SRC_REQUESTED_FILES_H_
