/* What a host in any language needs of the system to reach the library: for C and C++. */
#ifndef MTLLIB_TESTS_SYSTEM_FOREIGN_HOSTS_HOST_PLATFORM_H_
#define MTLLIB_TESTS_SYSTEM_FOREIGN_HOSTS_HOST_PLATFORM_H_

#ifdef _WIN32

#include <fcntl.h>
#include <io.h>
#include <stdio.h>
#include <windows.h>

typedef FARPROC Export;

/* The module's export; null when there is none. */
static Export findExport(const char* module, const char* name) {
  HMODULE loaded = LoadLibraryA(module);
  return loaded != NULL ? GetProcAddress(loaded, name) : NULL;
}

/* A line break in what is printed stays one byte. */
static void printBytesAsTheyAre(void) {
  _setmode(_fileno(stdout), _O_BINARY);
}

#else

#include <dlfcn.h>
#include <stddef.h>

typedef void* Export;

static Export findExport(const char* module, const char* name) {
  void* loaded = dlopen(module, RTLD_NOW | RTLD_LOCAL);
  return loaded != NULL ? dlsym(loaded, name) : NULL;
}

static void printBytesAsTheyAre(void) {}

#endif

#endif /* MTLLIB_TESTS_SYSTEM_FOREIGN_HOSTS_HOST_PLATFORM_H_ */
