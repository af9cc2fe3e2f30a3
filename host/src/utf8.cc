// Passes on to src/rules/, whose headers are not installed.
#include "mtlhost/utf8.h"

#include "rules/printable.h"
#include "rules/utf8.h"

namespace mtlhost {

std::string validUtf8(std::string_view text) {
  return mtlrules::validUtf8(text);
}

std::string printableLine(std::string_view text) {
  return mtlrules::printableLine(text);
}

}  // namespace mtlhost
