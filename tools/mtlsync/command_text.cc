// Writes commands, with quotation marks that suit the shells of both systems.
#include "mtlsync/command_text.h"

#include <algorithm>

#include "rules/address.h"
#include "rules/printable.h"

namespace mtlsync {

namespace {

std::string shellWord(const std::string& argument) {
  constexpr const char* kHarmless =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-+=./:,@%";
  if (argument.find_first_not_of(kHarmless) == argument.npos) return argument;
  std::string text = "\"";
  for (const char c : argument) {
    if (c == '"' || c == '$' || c == '`') text += '\\';
    text += c;
  }
  return text + '"';
}

}  // namespace

std::string commandWith(const std::string& option, const Options& options) {
  // Either separator will do, but shells read more into one of them.
  std::string directory = options.directory;
  std::replace(directory.begin(), directory.end(), '\\', '/');
  std::string text = "mtlsync ";
  if (!option.empty()) text += option + ' ';
  if (!options.subPath.empty()) text += "--sub-path " + shellWord(options.subPath) + ' ';
  if (options.proxyMode == PROXY_MODE_EXPLICIT) {
    text += "--proxy " + shellWord(mtlrules::withoutUserName(options.proxyAddress)) + ' ';
  }
  if (options.proxyMode == PROXY_MODE_DISABLED) text += "--no-proxy ";
  for (const std::string& key : options.trust.keys)
    text += "--key " + shellWord(key) + ' ';
  if (!options.trust.libraryName.empty()) {
    text += "--name " + shellWord(options.trust.libraryName) + ' ';
  }
  const auto looksLikeAnOption = [](const std::string& name) { return name.rfind('-', 0) == 0; };
  if (looksLikeAnOption(options.url) || looksLikeAnOption(directory)) text += "-- ";
  text += options.url.empty() ? "URL" : shellWord(mtlrules::withoutUserName(options.url));
  return mtlrules::printableLine(text + ' ' + shellWord(directory));
}

}  // namespace mtlsync
