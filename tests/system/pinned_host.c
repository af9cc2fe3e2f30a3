/* A host in C that brings a copy up to date, and accepts only what is signed with one key. Its exit
 * status is 5 if the library is not what was signed or published.
 * usage: pinned_host KEY URL DIRECTORY */
#include <mtlhost.h>
#include <stdio.h>

static void printErrors(const mtlhost_error* error) {
  for (; error != NULL; error = mtlhost_error_next(error))
    fprintf(stderr, "%s\n", mtlhost_error_message(error));
}

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  const char* const keys[] = {argv[1]};
  const mtlhost_options options = {.size = sizeof(options),
                                   .remote_address = argv[2],
                                   .target_directory = argv[3],
                                   .proxy_mode = MTLHOST_PROXY_NONE,
                                   .tries = 1,
                                   .key_count = 1,
                                   .keys = keys};
  mtlhost_library* library = NULL;
  mtlhost_error* problem = NULL;
  if (mtlhost_open(&options, &library, &problem) != MTLHOST_OK) {
    printErrors(problem);
    mtlhost_free_error(problem);
    return 2;
  }
  const int32_t code = mtlhost_sync(library);
  const int32_t failure = mtlhost_last_result(library)->failure;
  printErrors(mtlhost_last_error(library));
  mtlhost_close(library);
  if (failure == MTLHOST_FAILURE_UNTRUSTED || failure == MTLHOST_FAILURE_CONTENT) return 5;
  return code == MTLHOST_OK ? 0 : 1;
}
