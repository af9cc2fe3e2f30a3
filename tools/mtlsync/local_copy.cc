// The stamp lies below the sub-path; the list names the other files as they are.
#include "mtlsync/local_copy.h"

#include "library_list/list_names.h"
#include "mtlhost/system.h"

namespace mtlsync {

LocalFile localFile(const Options& options, const std::string& name) {
  return {name, std::filesystem::u8path(library_list::localName(options.directory, name))};
}

LocalFile stampFile(const Options& options) {
  return localFile(options, options.subPath.empty() ? "id.txt" : options.subPath + "/id.txt");
}

std::string reasonText(const std::error_code& error) {
  return error.category() == std::system_category() ? mtlhost::systemErrorText(error.value())
                                                    : error.message();
}

}  // namespace mtlsync
