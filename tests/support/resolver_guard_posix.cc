// Replaces the C library's getaddrinfo by one that the test program exports.
#include "support/resolver_guard.h"

#include <dlfcn.h>
#include <netdb.h>

#include <atomic>

namespace {

std::atomic<ResolverGuard> currentGuard{nullptr};

}  // namespace

extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char* node,
                                                                  const char* service,
                                                                  const addrinfo* hints,
                                                                  addrinfo** result) {
  const ResolverGuard guard = currentGuard;
  if (guard != nullptr && node != nullptr && !guard(node)) return EAI_NONAME;
  using Resolver = int (*)(const char*, const char*, const addrinfo*, addrinfo**);
  static const auto real = reinterpret_cast<Resolver>(dlsym(RTLD_NEXT, "getaddrinfo"));
  return real(node, service, hints, result);
}

void setResolverGuard(ResolverGuard guard) {
  currentGuard = guard;
}
