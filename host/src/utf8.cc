// The rule is the project's own; its headers are not installed.
#include "mtlhost/utf8.h"

#include "rules/utf8.h"

namespace mtlhost {

std::string validUtf8(std::string_view text) {
  return mtlrules::validUtf8(text);
}

}  // namespace mtlhost
