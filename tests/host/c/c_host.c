/* A host in plain C: checks, synchronises, and prints every event.
 * usage: c_host MODULE URL DIRECTORY */
#include <mtlhost.h>
#include <stdio.h>

static void printErrors(const char* opening, const mtlhost_error* error) {
  for (; error != NULL; error = mtlhost_error_next(error)) {
    printf("%s[%s] %d: %s\n", opening, mtlhost_error_tag(error), (int)mtlhost_error_code(error),
           mtlhost_error_message(error));
  }
}

static int32_t onEvent(const mtlhost_event* event, void* user) {
  static const char* const names[] = {"", "stage", "info", "warning", "error", "progress"};
  ++*(int*)user;
  if (event->kind > MTLHOST_EVENT_PROGRESS) return 0;
  if (event->kind == MTLHOST_EVENT_PROGRESS) {
    printf("progress: %s %d %d/%d\n", event->text, (int)event->permille,
           (int)event->megabytes_done, (int)event->megabytes_total);
  } else {
    printf("%s: %s\n", names[event->kind], event->text);
  }
  printErrors("  ", event->error);
  return 0;
}

int main(int argc, char** argv) {
  int events = 0;
  mtlhost_options options = {.size = sizeof(options),
                             .proxy_mode = MTLHOST_PROXY_NONE,
                             .callback = onEvent,
                             .user = &events};
  mtlhost_library* library = NULL;
  mtlhost_error* problem = NULL;
  if (argc != 4) return 2;
  options.module_file = argv[1];
  options.remote_address = argv[2];
  options.target_directory = argv[3];
  printf("version: %s\n", mtlhost_version());
  if (mtlhost_open(&options, &library, &problem) != MTLHOST_OK) {
    printErrors("", problem);
    mtlhost_free_error(problem);
    return 2;
  }
  printf("check: %d\n", (int)mtlhost_check(library));
  const int32_t result = mtlhost_sync(library);
  printf("sync: %d\n", (int)result);
  printErrors("because: ", mtlhost_last_error(library));
  mtlhost_close(library);
  printf("told: %s\n", events > 0 ? "yes" : "no");
  return result == MTLHOST_OK ? 0 : 1;
}
