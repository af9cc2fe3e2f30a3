// Fuzz target: file names: no byte is lost on the way to the system's UTF-16 and back.
#include "platform/utf.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "host.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(bytes), size);
  const Platform::WideText wide = Platform::duplicateAsWide(text.c_str());
  const Platform::Utf8Text back = Platform::duplicateAsUtf8(wide.get());
  // Halves of surrogate pairs, encoded one by one, come back as the code point they make.
  const bool hasHalves = text.find('\xED') != std::string::npos;
  require(hasHalves || std::strcmp(back.get(), text.c_str()) == 0);

  // Any units at all.
  std::u16string units(size / 2, u'\0');
  std::memcpy(units.data(), bytes, units.size() * 2);
  std::vector<WCHAR> any(units.begin(), units.end());
  any.push_back(0);
  Platform::duplicateAsUtf8(any.data());

  // Too little room never means more than was given.
  WCHAR few[3] = {0, 0, 0x7777};
  Platform::utf8ToWide(text.c_str(), few, 2);
  require(few[2] == 0x7777);
  return 0;
}
