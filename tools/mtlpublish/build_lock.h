// A BuildLock keeps all other builds away from a library's folder until it is destroyed.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_BUILD_LOCK_H_
#define MTLLIB_TOOLS_MTLPUBLISH_BUILD_LOCK_H_

#include <filesystem>
#include <string>

#include "update/system.h"

namespace mtlpublish {

class BuildLock {
 public:
  /// Returns why the folder cannot be had; "" when it is locked now. The system gives it back when
  /// the process dies.
  std::string take(const std::filesystem::path& root);

 private:
  mtlupdate::Folder folder_;
  mtlupdate::File file_;
};

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_BUILD_LOCK_H_
