// Recognises names that Windows interprets in a way of its own; see "Naming Files, Paths, and
// Namespaces" in the documentation of Win32.
#include "rules/windows_names.h"

#include <algorithm>
#include <cstddef>

#include "rules/ascii.h"

namespace mtlrules {

namespace {

// COM and LPT end in a digit; the superscript ones count, too.
bool isPort(std::string_view stem) {
  if (stem.size() < 4) return false;
  const std::string_view kind = stem.substr(0, 3);
  const std::string_view number = stem.substr(3);
  if (!equalsIgnoringCase(kind, "COM") && !equalsIgnoringCase(kind, "LPT")) return false;
  return (number.size() == 1 && number[0] >= '0' && number[0] <= '9') || number == "\u00B9" ||
         number == "\u00B2" || number == "\u00B3";
}

// What stands before the first dot decides, blanks at its end aside: "nul .txt" is one.
bool isDevice(std::string_view name) {
  std::string_view stem = name.substr(0, name.find('.'));
  stem = stem.substr(0, stem.find_last_not_of(' ') + 1);
  return isPort(stem) || equalsIgnoringCase(stem, "CON") || equalsIgnoringCase(stem, "PRN") ||
         equalsIgnoringCase(stem, "AUX") || equalsIgnoringCase(stem, "NUL") ||
         equalsIgnoringCase(stem, "CONIN$") || equalsIgnoringCase(stem, "CONOUT$");
}

}  // namespace

bool isOrdinaryOnWindows(std::string_view name) {
  // A colon names a drive or a stream; dots and blanks at the end are dropped.
  const bool hasColon = name.find(':') != std::string_view::npos;
  const bool isNothing = name.find_first_not_of(". ") == std::string_view::npos;
  return !hasColon && !isNothing && !isDevice(name);
}

bool isHeldByWindows(std::string_view name) {
  constexpr std::string_view kForbidden = "<>:\"/\\|?*";
  const auto isForbidden = [kForbidden](char c) {
    return static_cast<unsigned char>(c) < 0x20 || kForbidden.find(c) != kForbidden.npos;
  };
  const bool isCut = !name.empty() && (name.back() == '.' || name.back() == ' ');
  return !isCut && std::none_of(name.begin(), name.end(), isForbidden) && isOrdinaryOnWindows(name);
}

}  // namespace mtlrules
