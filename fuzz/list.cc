// Fuzz target: filelist.json: whatever arrives, parsing ends in a list of entries that stay below
// the target directory, or in one report; and in the same as when all of the text is parsed before
// the first entry is looked at.
#include "catalogue/list_file.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "catalogue/list_entries.h"
#include "host.h"
#include "platform/file_names.h"
#include "plugin/error_chain.h"
#include "qutils/mem_stream.h"
#include "rules/path.h"

namespace {

bool areSame(const QUtils::CharString& left, const QUtils::CharString& right) {
  return std::strcmp(left.text(), right.text()) == 0;
}

void requireSame(const DownloaderImpl::ListFile& left, const DownloaderImpl::ListFile& right) {
  require(left.count == right.count);
  require(left.capacity == right.capacity);
  require((left.entries == nullptr) == (right.entries == nullptr));
  for (int i = 0; i < left.count; ++i) {
    const ListFileEntry& entry = left.entries[static_cast<std::size_t>(i)];
    const ListFileEntry& other = right.entries[static_cast<std::size_t>(i)];
    require(areSame(entry.localName, other.localName));
    require(areSame(entry.remoteName, other.remoteName));
    require(entry.size == other.size);
  }
}

void compareBothWays(const DownloaderImpl& downloader, std::string_view text) {
  DownloaderImpl::ListFile list;
  ErrorChain error;
  selectEntries(downloader, text, list, error);
  DownloaderImpl::ListFile whole;
  ErrorChain errorOfWhole;
  selectFromWhole(downloader, text, whole, errorOfWhole);
  requireSame(list, whole);
  require(areSame(errorChainToString(error), errorChainToString(errorOfWhole)));
}

}  // namespace

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
    const char* name = list.entries[static_cast<std::size_t>(i)].localName.text();
    require(mtlrules::staysBelow(name, Platform::kHasWindowsNames));
  }
  compareBothWays(host.downloader, {reinterpret_cast<const char*>(bytes), size});
  return 0;
}
