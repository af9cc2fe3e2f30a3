// Fuzz target: library paths: what stays below a directory by its text does so when it is resolved,
// and percent-encoding loses nothing.
#include <cstddef>
#include <cstdint>
#include <string>

#include "host.h"
#include "rules/own_names.h"
#include "rules/path.h"

namespace {

int digitOf(char c) {
  return c <= '9' ? c - '0' : c - 'A' + 10;
}

std::string decoded(const std::string& text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      bytes += text[i];
      continue;
    }
    bytes += static_cast<char>(digitOf(text[i + 1]) * 16 + digitOf(text[i + 2]));
    i += 2;
  }
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(bytes), size);
  const char* path = text.c_str();
  require(decoded(mtlrules::percentEncoded(path)) == path);
  require(mtlrules::canonicalPath(path).find('\\') == std::string::npos);
  require(mtlrules::plainPath(path).empty() != mtlrules::staysBelow(path, false));
  mtlrules::isOwnName("id.txt/x", path);

  Host host;
  host.settings.targetDirectory = "/some/target";
  host.downloader.remotePath = "/lib";
  const std::string local = host.downloader.makeFullPath(path, PathSide::kLocal).text();
  const std::string remote = host.downloader.makeFullPath(path, PathSide::kRemote).text();
  if (!mtlrules::staysBelow(path, false)) return 0;
  const std::string below = "/some/target/";
  require(local.compare(0, below.size(), below) == 0 && local.size() > below.size());
  require(("/" + local + "/").find("/../") == std::string::npos);
  require(decoded(remote) == "/lib/" + local.substr(below.size()));
  require(local.substr(below.size()) == mtlrules::plainPath(path));
  require(mtlrules::isOwnName(path, "") == mtlrules::isOwnName(mtlrules::plainPath(path), ""));
  return 0;
}
