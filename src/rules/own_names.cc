// Compares names component by component, so that a longer name with the same beginning is not
// mistaken for one.
#include "rules/own_names.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "rules/ascii.h"
#include "rules/path.h"

namespace mtlrules {

namespace {

// Windows drops what these are from the end of a name.
std::string_view withoutTail(std::string_view name) {
  return name.substr(0, name.find_last_not_of(". ") + 1);
}

bool isSameName(std::string_view left, std::string_view right) {
  return equalsIgnoringCase(withoutTail(left), withoutTail(right));
}

// Whether one of them is the other, or a folder that contains the other.
bool isInTheWay(const std::vector<std::string_view>& left,
                const std::vector<std::string_view>& right) {
  const std::size_t common = std::min(left.size(), right.size());
  return std::equal(left.begin(), left.begin() + static_cast<std::ptrdiff_t>(common), right.begin(),
                    isSameName);
}

// Windows may give the folder a short name as well, and find it by that.
bool isStateFolder(std::string_view name) {
  constexpr std::string_view kShortForm = "mtllib~";
  const std::string_view whole = withoutTail(name);
  const bool isShort = whole.size() == kShortForm.size() + 1 && whole.back() >= '1' &&
                       whole.back() <= '9' &&
                       equalsIgnoringCase(whole.substr(0, kShortForm.size()), kShortForm);
  return isShort || isSameName(whole, kStateFolderName);
}

}  // namespace

std::string stampName(std::string_view subPath) {
  std::string name(subPath);
  if (!name.empty()) name += '/';
  return name += kStampName;
}

bool isOwnName(std::string_view path, std::string_view subPath) {
  if (!isPlain(path)) {
    const std::string plain = plainPath(path);
    return !plain.empty() && isOwnName(plain, subPath);
  }
  const std::string_view first = path.substr(0, path.find('/'));
  if (isStateFolder(first) || isSameName(first, kStampName)) return true;
  if (subPath.empty()) return false;
  const std::string stamp = plainPath(stampName(subPath));
  return !stamp.empty() && isInTheWay(namesOf(path), namesOf(stamp));
}

}  // namespace mtlrules
