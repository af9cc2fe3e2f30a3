// Requests large memory pages for bodies that do not fit in the processor's caches.
#ifndef MTLLIB_PLATFORM_LARGE_PAGES_H_
#define MTLLIB_PLATFORM_LARGE_PAGES_H_

#include <cstddef>

namespace Platform {

/// Asks for large pages behind the memory, which need not be aligned. For memory that is
/// filled from end to end: giving out and clearing small pages costs more than filling
/// them. Where the system has no such pages, or decides by itself, nothing happens.
void preferLargePages(void* memory, std::size_t size);

}  // namespace Platform

#endif  // MTLLIB_PLATFORM_LARGE_PAGES_H_
