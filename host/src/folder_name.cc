// Rewrites names of folders for the module. Works on the text alone, as the module does.
#include "mtlhost/folder_name.h"

#include <filesystem>
#include <system_error>

namespace mtlhost {

std::string withoutClimbing(const std::string& folder) {
  namespace fs = std::filesystem;
  try {
    const fs::path path = fs::u8path(folder).lexically_normal();
    if (path.empty() || *path.begin() != "..") return folder;
    return fs::absolute(path).lexically_normal().generic_u8string();
  } catch (const std::system_error&) {
    // Not a name that this system can have: the module will say so.
    return folder;
  }
}

}  // namespace mtlhost
