// Fetches the system's message for an error code. It is in English whatever the user's language
// is, so that anybody who is asked for help can read a log.
#include "qutils/system_error.h"

#include "platform/utf.h"
#include "qutils/text_builder.h"

namespace QUtils {
namespace {

constexpr DWORD kEnglishUnitedStates = 1033;

void appendSystemMessage(TextBuilder& text, DWORD code) {
  WCHAR* message = nullptr;  // stays null when the system has no text
  FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, code, kEnglishUnitedStates, reinterpret_cast<LPWSTR>(&message), 0, nullptr);
  if (const Platform::Utf8Text converted = Platform::duplicateAsUtf8(message))
    text.append(converted.get());
  LocalFree(message);
}

}  // namespace

CharString systemErrorText(DWORD code) {
  if (code == 0) return {};
  char start[128];
  TextBuilder text(start, sizeof(start), false);
  text.appendFormatted("(%lu) ", static_cast<unsigned long>(code));
  appendSystemMessage(text, code);
  return text.releaseText();
}

}  // namespace QUtils
