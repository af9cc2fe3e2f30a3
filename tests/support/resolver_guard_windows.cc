// Replaces the resolver of the system's library: the linked libraries call it through a pointer,
// which the linker takes from here.
#include "support/resolver_guard.h"

#include <winsock2.h>
// After the above, whose types it needs.
#include <ws2tcpip.h>

#include <atomic>

namespace {

using Resolver = int(WSAAPI*)(const char*, const char*, const addrinfo*, addrinfo**);

std::atomic<ResolverGuard> currentGuard{nullptr};

Resolver systemResolver() {
  return reinterpret_cast<Resolver>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ws2_32.dll"), "getaddrinfo")));
}

int WSAAPI guardedResolver(const char* node, const char* service, const addrinfo* hints,
                           addrinfo** result) {
  const ResolverGuard guard = currentGuard;
  if (guard != nullptr && node != nullptr && !guard(node)) return WSAHOST_NOT_FOUND;
  static const Resolver real = systemResolver();
  return real(node, service, hints, result);
}

}  // namespace

extern "C" {
extern const Resolver __imp_getaddrinfo;  // The name that compilers give such a pointer.
const Resolver __imp_getaddrinfo = guardedResolver;
}

void setResolverGuard(ResolverGuard guard) {
  currentGuard = guard;
}
