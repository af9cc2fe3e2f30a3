// The tables belong to a locale, whatever the user's is.
#include "mtlpublish/fold_case.h"

#include <locale.h>
#include <wctype.h>

namespace mtlpublish {

namespace {

locale_t utf8Locale() {
  const locale_t found = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  // That one always exists, and knows the letters of English.
  return found != nullptr ? found : newlocale(LC_CTYPE_MASK, "C", nullptr);
}

}  // namespace

std::u32string foldCase(std::u32string text) {
  static const locale_t locale = utf8Locale();
  for (char32_t& character : text)
    character = static_cast<char32_t>(towlower_l(static_cast<wint_t>(character), locale));
  return text;
}

}  // namespace mtlpublish
