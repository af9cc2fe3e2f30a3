// Replaces functions of newer glibcs that the compiler's run-time libraries call, using what glibc
// 2.34 has. They are hidden, so that nothing else calls them.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <link.h>
#include <stdint.h>
#include <stdlib.h>
#include <unistd.h>

#define HIDDEN __attribute__((visibility("hidden")))

// What one object looks like to somebody who asks for the one that an address lies in.
struct search {
  uintptr_t address;
  struct dl_find_object* result;
};

static int look(struct dl_phdr_info* object, size_t size, void* data) {
  (void)size;
  const struct search* search = data;
  const ElfW(Phdr)* frames = NULL;
  uintptr_t begin = 0;
  uintptr_t end = 0;
  for (int i = 0; i < object->dlpi_phnum; ++i) {
    const ElfW(Phdr)* header = &object->dlpi_phdr[i];
    const uintptr_t first = object->dlpi_addr + header->p_vaddr;
    if (header->p_type == PT_GNU_EH_FRAME) frames = header;
    if (header->p_type != PT_LOAD || search->address - first >= header->p_memsz) continue;
    begin = first;
    end = first + header->p_memsz;
  }
  if (begin == end || frames == NULL) return 0;
  search->result->dlfo_map_start = (void*)begin;
  search->result->dlfo_map_end = (void*)end;
  search->result->dlfo_eh_frame = (void*)(object->dlpi_addr + frames->p_vaddr);
  return 1;
}

// For unwinding the stack when an exception is thrown; glibc has it from 2.35 on.
HIDDEN int _dl_find_object(void* address, struct dl_find_object* result) {
  struct search search = {(uintptr_t)address, result};
  return dl_iterate_phdr(look, &search) == 1 ? 0 : -1;
}

// For std::random_device; glibc has it from 2.36 on.
HIDDEN uint32_t arc4random(void) {
  uint32_t value;
  if (getentropy(&value, sizeof value) != 0) abort();
  return value;
}
