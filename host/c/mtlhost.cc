// The C functions: what the kit does, behind a border that no exception crosses.
#include "mtlhost.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "error_list.h"
#include "event_forwarder.h"
#include "mtlhost/library.h"
#include "mtlhost/utf8.h"

struct mtlhost_library {
  mtlhost_library(mtlhost_callback callback, void* user) : events(callback, user) {}

  EventForwarder events;
  std::optional<mtlhost::Library> library;
  ErrorList lastError;
};

namespace {

using Status = mtlhost::Result::Status;

/// Copies a field if the caller's record has it.
template <typename Field>
void take(Field mtlhost_options::*field, const mtlhost_options& from, mtlhost_options& to) {
  const auto* begin = reinterpret_cast<const char*>(&to);
  const auto* end = reinterpret_cast<const char*>(&(to.*field) + 1);
  if (static_cast<std::size_t>(end - begin) <= from.size) to.*field = from.*field;
}

/// All the fields that the caller's record has; the others are zero.
mtlhost_options takenFrom(const mtlhost_options& options) {
  mtlhost_options taken{};
  take(&mtlhost_options::module_file, options, taken);
  take(&mtlhost_options::remote_address, options, taken);
  take(&mtlhost_options::target_directory, options, taken);
  take(&mtlhost_options::sub_path, options, taken);
  take(&mtlhost_options::proxy_mode, options, taken);
  take(&mtlhost_options::proxy_address, options, taken);
  take(&mtlhost_options::callback, options, taken);
  take(&mtlhost_options::user, options, taken);
  return taken;
}

std::string textOf(const char* text) {
  return text != nullptr ? text : "";
}

ProxyMode proxyModeOf(std::int32_t mode) {
  if (mode == MTLHOST_PROXY_EXPLICIT) return PROXY_MODE_EXPLICIT;
  return mode == MTLHOST_PROXY_NONE ? PROXY_MODE_DISABLED : PROXY_MODE_SYSTEM;
}

mtlhost::Settings settingsOf(const mtlhost_options& options) {
  return {textOf(options.remote_address),
          textOf(options.target_directory),
          textOf(options.sub_path),
          proxyModeOf(options.proxy_mode),
          textOf(options.proxy_address),
          textOf(options.module_file),
          true};
}

std::unique_ptr<mtlhost_library> open(const mtlhost_options& options, ErrorList& error) {
  auto library = std::make_unique<mtlhost_library>(options.callback, options.user);
  mtlhost::Errors problem;
  library->library = mtlhost::Library::open(settingsOf(options), library->events, problem);
  if (library->library) return library;
  error = errorListOf(problem);
  return nullptr;
}

std::int32_t codeOf(Status status) {
  switch (status) {
    case Status::kDone:
      return MTLHOST_OK;
    case Status::kUpdateAvailable:
      return MTLHOST_UPDATE_AVAILABLE;
    case Status::kFailed:
    case Status::kDifferent:
      return MTLHOST_FAILED;
    case Status::kCancelled:
      return MTLHOST_CANCELLED;
    case Status::kBusy:
      return MTLHOST_WRONG_USE;
  }
  return MTLHOST_FAILED;
}

/// What another thread is using meanwhile is left alone.
std::int32_t call(mtlhost_library* handle, mtlhost::Result (mtlhost::Library::*operation)()) {
  if (handle == nullptr) return MTLHOST_WRONG_USE;
  Status status = Status::kFailed;
  ErrorList error;
  try {
    const mtlhost::Result result = ((*handle->library).*operation)();
    status = result.status;
    error = errorListOf(result.errors);
  } catch (...) {
    error = errorListOfException();
  }
  if (status == Status::kBusy) return MTLHOST_WRONG_USE;
  handle->events.reset();
  handle->lastError = std::move(error);
  return codeOf(status);
}

}  // namespace

std::int32_t mtlhost_open(const mtlhost_options* options, mtlhost_library** library,
                          mtlhost_error** error) {
  if (library != nullptr) *library = nullptr;
  ErrorList reason;
  std::int32_t code = MTLHOST_WRONG_USE;
  if (options == nullptr || library == nullptr) {
    reason = ownErrorList("mtlhost_open() needs options and a place for the library");
  } else if (const mtlhost_options taken = takenFrom(*options);
             textOf(taken.target_directory).empty()) {
    reason = ownErrorList("mtlhost_open() needs a target directory");
  } else {
    try {
      *library = open(taken, reason).release();
    } catch (...) {
      reason = errorListOfException();
    }
    code = *library != nullptr ? MTLHOST_OK : MTLHOST_FAILED;
  }
  if (error != nullptr) *error = reason.release();
  return code;
}

void mtlhost_close(mtlhost_library* library) {
  delete library;
}

std::int32_t mtlhost_check(mtlhost_library* library) {
  return call(library, &mtlhost::Library::check);
}

std::int32_t mtlhost_sync(mtlhost_library* library) {
  return call(library, &mtlhost::Library::run);
}

void mtlhost_cancel(mtlhost_library* library) {
  if (library != nullptr) library->library->cancel();
}

const mtlhost_error* mtlhost_last_error(const mtlhost_library* library) {
  return library != nullptr ? library->lastError.get() : nullptr;
}

std::size_t mtlhost_printable(const char* text, char* buffer, std::size_t size) {
  const std::string line = mtlhost::printableLine(text != nullptr ? text : "");
  const auto continuesCharacter = [&](std::size_t at) {
    return at < line.size() && (static_cast<unsigned char>(line[at]) & 0xC0U) == 0x80;
  };
  if (size > 0) {
    std::size_t length = std::min(line.size(), size - 1);
    while (continuesCharacter(length))
      --length;
    buffer[line.copy(buffer, length)] = '\0';
  }
  return line.size() + 1;
}

const char* mtlhost_version(void) {
  return MTLHOST_VERSION;
}
