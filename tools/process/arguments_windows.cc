// main() gets the arguments in the code page, which lacks most letters, and with patterns
// replaced by the files that match. The command line itself has all.
#include "platform/win32.h"
// After the above, whose types it needs.
#include <shellapi.h>

#include <memory>

#include "platform/windows/wide_text.h"
#include "process/arguments.h"

namespace process {

namespace {

struct FreeLocal {
  void operator()(LPWSTR* block) const { LocalFree(block); }
};

}  // namespace

std::vector<std::string> Arguments::textsOf(int count, const char* const* values) {
  int wideCount = 0;
  const std::unique_ptr<LPWSTR[], FreeLocal> wide(
      CommandLineToArgvW(GetCommandLineW(), &wideCount));
  if (!wide) return {values, values + count};
  std::vector<std::string> texts;
  for (int i = 0; i < wideCount; ++i)
    texts.push_back(Platform::utf8Of(wide[static_cast<std::size_t>(i)]));
  return texts;
}

}  // namespace process
