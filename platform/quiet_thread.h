// Starts threads of a library that runs inside another program.
#ifndef MTLLIB_PLATFORM_QUIET_THREAD_H_
#define MTLLIB_PLATFORM_QUIET_THREAD_H_

#include <functional>
#include <thread>

namespace Platform {

/// Starts a thread that never runs the host's signal handlers: signals sent to the
/// process go to the host's own threads, and a broken connection raises none. Throws
/// std::system_error as std::thread does.
std::thread startQuietThread(std::function<void()> body);

}  // namespace Platform

#endif  // MTLLIB_PLATFORM_QUIET_THREAD_H_
