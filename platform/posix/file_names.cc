// Every name is a file's.
#include "platform/file_names.h"

namespace Platform {

bool isOrdinaryName(std::string_view /*name*/) {
  return true;
}

}  // namespace Platform
