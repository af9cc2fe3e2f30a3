// The rule is text only, so that it can be told and tested anywhere.
#include "platform/file_names.h"

#include "platform/windows_names.h"

namespace Platform {

bool isOrdinaryName(std::string_view name) {
  return isOrdinaryOnWindows(name);
}

}  // namespace Platform
