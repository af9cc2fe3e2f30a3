// filelist.json: whatever arrives, parsing ends in a list of entries that stay below the
// target directory, or in one report.
#include "catalogue/list_file.h"

#include <cstddef>
#include <cstdint>

#include "catalogue/paths.h"
#include "host.h"
#include "qutils/mem_stream.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  Host host;
  host.settings.targetDirectory = "/nowhere";
  QUtils::PMemStream stream(16384);
  stream.WriteBuffer(bytes, static_cast<std::uint32_t>(size));
  DownloaderImpl::ListFile list;
  const int result = host.downloader.parseListFile(stream, list);
  require(result == 0 || result == -1);
  require(host.callback.errors + host.callback.warnings == -result);
  for (int i = 0; i < list.count; ++i) {
    require(staysBelow(list.entries[static_cast<std::size_t>(i)].localName.text()));
  }
  return 0;
}
