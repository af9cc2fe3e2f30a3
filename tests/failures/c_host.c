/* A host in C that synchronises, and prints how a failure is explained to users: kind, about, sentence
 * and hint, a line each.
 * usage: failures_c_host ADDRESS FOLDER [NAME=VALUE...] */
#include <mtlhost.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static const char* const kinds[] = {"other",       "settings",   "address", "name",    "connection",
                                    "certificate", "proxy",      "answer",  "content", "untrusted",
                                    "disk",        "permission", "busy",    "limit",   "cancelled",
                                    "module",      "memory"};

static const char* option(int argc, char** argv, const char* name) {
  const size_t length = strlen(name);
  int i;
  for (i = 3; i < argc; ++i) {
    if (strncmp(argv[i], name, length) == 0 && argv[i][length] == '=') return argv[i] + length + 1;
  }
  return NULL;
}

static int32_t seconds(const char* text) {
  return text != NULL ? (int32_t)strtol(text, NULL, 10) : 0;
}

static int32_t answer(const mtlhost_event* event, void* user) {
  (void)event;
  return *(const int32_t*)user;
}

static int print(const mtlhost_error* error) {
  if (error == NULL) return 0;
  printf("%s\n%s\n%s\n%s\n", kinds[mtlhost_error_kind(error)], mtlhost_error_about(error),
         mtlhost_error_sentence(error), mtlhost_error_hint(error));
  return 1;
}

int main(int argc, char** argv) {
  mtlhost_options options;
  mtlhost_library* library = NULL;
  mtlhost_error* problem = NULL;
  int32_t cancels = 0;
  const char* key = NULL;
  int result = 0;
  if (argc < 3) return 2;
  memset(&options, 0, sizeof(options));
  options.size = sizeof(options);
  options.remote_address = argv[1];
  options.target_directory = argv[2];
  options.tries = 1;
  options.proxy_address = option(argc, argv, "proxy");
  options.proxy_mode = options.proxy_address != NULL ? MTLHOST_PROXY_EXPLICIT : MTLHOST_PROXY_NONE;
  options.module_file = option(argc, argv, "module");
  options.ca_file = option(argc, argv, "ca");
  options.connect_seconds = seconds(option(argc, argv, "connect"));
  options.stall_seconds = seconds(option(argc, argv, "stall"));
  key = option(argc, argv, "key");
  options.key_count = key != NULL ? 1 : 0;
  options.keys = key != NULL ? &key : NULL;
  cancels = option(argc, argv, "cancel") != NULL ? 1 : 0;
  options.callback = answer;
  options.user = &cancels;
  if (mtlhost_open(&options, &library, &problem) != MTLHOST_OK) {
    result = print(problem);
    mtlhost_free_error(problem);
    return result;
  }
  mtlhost_sync(library);
  result = print(mtlhost_last_error(library));
  mtlhost_close(library);
  return result;
}
