// What the system does with the names of files.
#include "mtlpublish/fold_case.h"

#include "platform/win32.h"

namespace mtlpublish {

std::u32string foldCase(std::u32string text) {
  constexpr char32_t kFirstPair = 0x10000;
  for (char32_t& character : text) {
    // What takes two units is left as it is.
    if (character >= kFirstPair) continue;
    const auto unit = static_cast<wchar_t>(character);
    wchar_t lower = unit;
    LCMapStringEx(LOCALE_NAME_INVARIANT, LCMAP_LOWERCASE, &unit, 1, &lower, 1, nullptr, nullptr, 0);
    character = lower;
  }
  return text;
}

}  // namespace mtlpublish
