// On the text alone: whether it is an address at all is found out by whoever uses it.
#include "rules/address.h"

namespace mtlrules {

std::string withoutTrailingSlashes(std::string_view address) {
  const std::size_t scheme = address.find("://");
  const std::size_t begin = scheme == address.npos ? 0 : scheme + 3;
  const std::size_t last = address.find_last_not_of('/');
  if (last == address.npos) return std::string(address);
  return std::string(address.substr(0, last < begin ? begin : last + 1));
}

}  // namespace mtlrules
