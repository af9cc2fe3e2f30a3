// Resolves links first: only then does a name say where it leads.
#include "mtlpublish/contained_path.h"

#include <algorithm>
#include <string>

#include "mtlpublish/system.h"
#include "rules/utf8.h"

namespace mtlpublish {

namespace fs = std::filesystem;

fs::path canonicalFolder(const fs::path& path, std::error_code& error) {
  fs::path folder = canonicalPath(path, error);
  if (!error && !fs::is_directory(folder, error) && !error) {
    error = std::make_error_code(std::errc::not_a_directory);
  }
  return folder;
}

bool liesWithin(const fs::path& path, const fs::path& folder) {
  return std::mismatch(folder.begin(), folder.end(), path.begin(), path.end()).first ==
         folder.end();
}

std::optional<fs::path> fileWithin(const fs::path& root, std::string_view name) {
  if (!mtlrules::isValidUtf8(name)) return std::nullopt;
  if (name.find('\\') != name.npos || name.find('\0') != name.npos) return std::nullopt;
  name.remove_prefix(std::min(name.find_first_not_of('/'), name.size()));
  const fs::path relative = fs::u8path(name);
  if (std::find(relative.begin(), relative.end(), "..") != relative.end()) return std::nullopt;
  std::error_code error;
  fs::path file = canonicalPath(root / relative, error);
  if (error || !liesWithin(file, root) || !fs::is_regular_file(file, error)) return std::nullopt;
  return file;
}

}  // namespace mtlpublish
