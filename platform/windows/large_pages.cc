// Does nothing: Windows gives large pages only to accounts that have a special right.
#include "platform/large_pages.h"

namespace Platform {

void preferLargePages(void* /*memory*/, std::size_t /*size*/) {}

}  // namespace Platform
