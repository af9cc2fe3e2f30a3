// Where the list of a library lies, and where on the disk its files do. The names are those
// that the plug-in makes, so that programs look where it looks.
#ifndef MTLLIB_TOOLS_LIBRARY_LIST_LIST_NAMES_H_
#define MTLLIB_TOOLS_LIBRARY_LIST_LIST_NAMES_H_

#include <string>
#include <string_view>

namespace library_list {

/// The URL of the list of the library at `address`; "" when that is no address of http or
/// https. Without a scheme it is one of http.
std::string listUrl(std::string_view address, const std::string& subPath);

/// The URL of the file `name`, relative to the library at `address`, as listUrl.
std::string fileUrl(std::string_view address, std::string_view name);

/// The name, with '/' only, of the file `relative` of the local copy in `directory`, found
/// on the text alone; "" when there can be none.
std::string localName(const std::string& directory, const std::string& relative);

/// Whether the relative path of a list names something below the folder it is put in,
/// whatever that is.
bool staysBelow(std::string_view path);

/// The path, which staysBelow, in the one way to write it: with '/' only, without "." and
/// "..".
std::string plainPath(std::string_view path);

}  // namespace library_list

#endif  // MTLLIB_TOOLS_LIBRARY_LIST_LIST_NAMES_H_
