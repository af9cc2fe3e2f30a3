// A ResolverGuard is a function that a test has called before each resolution of a host name, and
// that can delay or refuse it.
#ifndef MTLLIB_TESTS_SUPPORT_RESOLVER_GUARD_H_
#define MTLLIB_TESTS_SUPPORT_RESOLVER_GUARD_H_

/// Called before the system's resolver, in the thread that looks `name` up. When it returns
/// false, the resolver is not asked and there is no such name.
using ResolverGuard = bool (*)(const char* name);

/// From now on all of the program's look-ups come by `guard`, libraries' too.
void setResolverGuard(ResolverGuard guard);

#endif  // MTLLIB_TESTS_SUPPORT_RESOLVER_GUARD_H_
