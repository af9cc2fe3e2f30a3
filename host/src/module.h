// A Module is a loaded module of the right version, with its table of functions.
#ifndef MTLLIB_HOST_SRC_MODULE_H_
#define MTLLIB_HOST_SRC_MODULE_H_

#include <optional>
#include <string>
#include <utility>

#include "mtlhost/error.h"
#include "mtllib/downloader_interface.h"
#include "system_calls.h"

namespace mtlhost {

/// A failure of the kit's own.
Error ownError(std::string message);

/// Unloaded by the destructor; whatever the table handed out must have gone back before.
class Module {
 public:
  /// Loads `file`; without one the module in ownFolder(), or else the one that the system's
  /// loader finds. Empty, with the reason in `problem`, when it cannot be used.
  static std::optional<Module> load(const std::string& file, Errors& problem);

  const DownloaderInterface& table() const { return table_; }

 private:
  explicit Module(SharedLibrary library) : library_(std::move(library)) {}

  SharedLibrary library_;
  DownloaderInterface table_{};
};

}  // namespace mtlhost

#endif  // MTLLIB_HOST_SRC_MODULE_H_
