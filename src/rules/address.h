// Takes apart addresses of libraries and proxies, and builds the URLs of a library's files.
#ifndef MTLLIB_RULES_ADDRESS_H_
#define MTLLIB_RULES_ADDRESS_H_

#include <string>
#include <string_view>

#include "rules/list_entry.h"

namespace mtlrules {

/// An address taken apart. The views point into the text that was given. Nothing is checked
/// beyond the scheme.
struct AddressParts {
  enum class Scheme { kHttp, kHttps, kOther };

  Scheme scheme = Scheme::kHttp;  ///< kHttp also when no scheme is given.
  std::string_view server;        ///< The host and perhaps a port, as they stand.
  std::string_view path;          ///< From the first '/' on; empty when there is none.
};

AddressParts splitAddress(std::string_view address);

/// The address of the library that is meant where none is named.
const char* defaultAddress();

/// `address` without the slashes at its end, unless they follow the scheme ("http://") or are
/// all there is. Below "http://host/" the names of files would begin with two slashes, and
/// servers may distinguish "//id.txt" from "/id.txt".
std::string withoutTrailingSlashes(std::string_view address);

/// Whether the address has a user name, which may come with a password.
bool hasUserName(std::string_view address);

/// Whether a list may name the address as one more of its library's: of http or https, which it has
/// to say, with a host, and with nothing that a file's name could not be put behind, such as a
/// query. One with a user name is not for everybody.
bool isMirrorAddress(std::string_view address);

/// `address` without its user name and password, fit to be shown.
std::string withoutUserName(std::string_view address);

/// The path of a URL for `relative`, a file of the library whose address has the path `base`.
std::string urlPath(std::string_view base, std::string_view relative);

/// The same for the library's list, or for the file `name` beside it. A sub-path goes in front of
/// the library's own path, and as it stands: it is neither encoded nor made canonical.
std::string listUrlPath(std::string_view base, std::string_view subPath,
                        std::string_view name = kListName);

/// The URL of the file `relative` of the library at `address`; "" when that is not an address
/// of http or https with a host.
std::string fileUrl(std::string_view address, std::string_view relative);

/// The same for the library's list.
std::string listUrl(std::string_view address, std::string_view subPath);

}  // namespace mtlrules

#endif  // MTLLIB_RULES_ADDRESS_H_
