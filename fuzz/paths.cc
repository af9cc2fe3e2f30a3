// Library paths: what stays below a directory by its text does so when it is resolved, and
// percent-encoding loses nothing.
#include "catalogue/paths.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "host.h"

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
  require(decoded(percentEncodePath(path).text()) == path);

  const QUtils::CharString canonical = canonicalisePath(path);
  require(std::strchr(canonical.text(), '/') == nullptr);

  Host host;
  host.settings.targetDirectory = "/some/target";
  host.downloader.remotePath = "/lib";
  const std::string local = host.downloader.makeFullPath(path, PathSide::kLocal).text();
  const std::string remote = host.downloader.makeFullPath(path, PathSide::kRemote).text();
  if (!staysBelow(path)) return 0;
  const std::string below = "/some/target/";
  require(local.compare(0, below.size(), below) == 0 && local.size() > below.size());
  require(("/" + local + "/").find("/../") == std::string::npos);
  require(decoded(remote) == "/lib/" + local.substr(below.size()));
  return 0;
}
