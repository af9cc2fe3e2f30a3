// Requests large pages on Linux, with madvise.
#include "platform/large_pages.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

namespace Platform {

void preferLargePages(void* memory, std::size_t size) {
#ifdef MADV_HUGEPAGE
  const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  const auto end = reinterpret_cast<std::uintptr_t>(memory) + size;
  const auto begin = (end - size + page - 1) / page * page;
  if (begin < end) madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
#else
  static_cast<void>(memory);
  static_cast<void>(size);
#endif
}

}  // namespace Platform
