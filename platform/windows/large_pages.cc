// Windows has large pages only for accounts with a right of their own.
#include "platform/large_pages.h"

namespace Platform {

void preferLargePages(void* /*memory*/, std::size_t /*size*/) {}

}  // namespace Platform
