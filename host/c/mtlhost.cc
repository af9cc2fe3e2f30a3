// The functions of the C interface: each calls the kit and lets no exception out.
#include "mtlhost.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include "error_list.h"
#include "event_forwarder.h"
#include "mtlhost/library.h"
#include "mtlhost/parse.h"
#include "mtlhost/update.h"
#include "mtlhost/utf8.h"
#include "records.h"

struct mtlhost_library {
  mtlhost_library(mtlhost_callback callback, void* user) : events(callback, user) {}

  EventForwarder events;
  std::optional<mtlhost::Library> library;
  ErrorList lastError;
  std::optional<ResultRecord> lastResult{std::in_place, mtlhost::Result{}};
  std::optional<PlanRecord> lastPlan;
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
  take(&mtlhost_options::flags, options, taken);
  take(&mtlhost_options::tries, options, taken);
  take(&mtlhost_options::bytes_per_second, options, taken);
  take(&mtlhost_options::largest_file, options, taken);
  take(&mtlhost_options::largest_total, options, taken);
  take(&mtlhost_options::max_seconds, options, taken);
  take(&mtlhost_options::key_count, options, taken);
  take(&mtlhost_options::keys, options, taken);
  take(&mtlhost_options::library_name, options, taken);
  take(&mtlhost_options::mirror_count, options, taken);
  take(&mtlhost_options::mirrors, options, taken);
  take(&mtlhost_options::ca_file, options, taken);
  take(&mtlhost_options::proxy_user, options, taken);
  take(&mtlhost_options::proxy_password, options, taken);
  take(&mtlhost_options::field_count, options, taken);
  take(&mtlhost_options::fields, options, taken);
  take(&mtlhost_options::query, options, taken);
  take(&mtlhost_options::user_agent, options, taken);
  take(&mtlhost_options::connect_seconds, options, taken);
  take(&mtlhost_options::stall_seconds, options, taken);
  return taken;
}

std::string textOf(const char* text) {
  return text != nullptr ? text : "";
}

ProxyMode proxyModeOf(std::int32_t mode) {
  if (mode == MTLHOST_PROXY_EXPLICIT) return PROXY_MODE_EXPLICIT;
  return mode == MTLHOST_PROXY_NONE ? PROXY_MODE_DISABLED : PROXY_MODE_SYSTEM;
}

bool hasNegativeNumbers(const mtlhost_options& options) {
  return std::min<std::int64_t>({options.tries, options.bytes_per_second, options.largest_file,
                                 options.largest_total, options.max_seconds,
                                 options.connect_seconds, options.stall_seconds}) < 0;
}

/// Keys without their count, or a count without its keys, must not come to nobody checking.
bool hasEach(const char* const* texts, std::size_t count) {
  if (texts == nullptr) return count == 0;
  const char* const* end = texts + count;
  return count > 0 && std::find(texts, end, nullptr) == end;
}

/// What stands before the colon of a field, and behind it without the blanks there.
mtlhost::RequestField fieldOf(const std::string& text) {
  const std::size_t colon = std::min(text.find(':'), text.size());
  const std::size_t value = std::min(text.find_first_not_of(' ', colon + 1), text.size());
  return {text.substr(0, colon), text.substr(value)};
}

mtlhost::NetworkSettings networkSettingsOf(const mtlhost_options& options) {
  mtlhost::NetworkSettings network;
  network.caFile = textOf(options.ca_file);
  network.proxyUser = textOf(options.proxy_user);
  network.proxyPassword = textOf(options.proxy_password);
  for (std::size_t i = 0; i < options.field_count; ++i)
    network.fields.push_back(fieldOf(options.fields[i]));
  network.query = textOf(options.query);
  network.userAgent = textOf(options.user_agent);
  network.connectTimeout = std::chrono::seconds(options.connect_seconds);
  network.stallTimeout = std::chrono::seconds(options.stall_seconds);
  return network;
}

mtlhost::TrustSettings trustSettingsOf(const mtlhost_options& options) {
  mtlhost::TrustSettings trust;
  trust.keys.assign(options.keys, options.keys + options.key_count);
  trust.libraryName = textOf(options.library_name);
  trust.allowsExpired = (options.flags & MTLHOST_ALLOW_EXPIRED) != 0;
  trust.forgetsKeys = (options.flags & MTLHOST_FORGET_KEYS) != 0;
  return trust;
}

mtlhost::UpdateSettings updateSettingsOf(const mtlhost_options& options) {
  const auto has = [&](std::uint32_t flag) { return (options.flags & flag) != 0; };
  mtlhost::UpdateSettings update;
  update.full = has(MTLHOST_FULL);
  update.prune = has(MTLHOST_PRUNE) || has(MTLHOST_PRUNE_MOST);
  update.pruneMost = has(MTLHOST_PRUNE_MOST);
  update.waitsForOthers = has(MTLHOST_WAIT);
  update.bytesPerSecond = options.bytes_per_second;
  if (options.tries > 0) update.tries = options.tries;
  if (options.largest_file > 0) {
    update.largestFile = static_cast<std::uint64_t>(options.largest_file);
  }
  if (options.largest_total > 0) {
    update.largestTotal = static_cast<std::uint64_t>(options.largest_total);
  }
  if (options.max_seconds > 0) update.timeLimit = std::chrono::seconds(options.max_seconds);
  return update;
}

mtlhost::Settings settingsOf(const mtlhost_options& options) {
  return {textOf(options.remote_address),
          textOf(options.target_directory),
          textOf(options.sub_path),
          proxyModeOf(options.proxy_mode),
          textOf(options.proxy_address),
          textOf(options.module_file),
          (options.flags & MTLHOST_USE_MODULE) != 0,
          updateSettingsOf(options),
          trustSettingsOf(options),
          {options.mirrors, options.mirrors + options.mirror_count},
          networkSettingsOf(options)};
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
    case Status::kDifferent:
      return MTLHOST_DIFFERENT;
    case Status::kFailed:
      return MTLHOST_FAILED;
    case Status::kCancelled:
      return MTLHOST_CANCELLED;
    case Status::kBusy:
      return MTLHOST_WRONG_USE;
  }
  return MTLHOST_FAILED;
}

mtlhost::Result failedBy(mtlhost::Result::Failure failure) {
  mtlhost::Result result;
  result.failure = failure;
  return result;
}

/// What another thread is using meanwhile is left alone.
template <typename Operation>
std::int32_t perform(mtlhost_library* handle, Operation operation) {
  if (handle == nullptr) return MTLHOST_WRONG_USE;
  Status status = Status::kFailed;
  ErrorList error;
  try {
    mtlhost::Plan plan;
    const mtlhost::Result result = operation(*handle->library, plan);
    if (result.status == Status::kBusy) return MTLHOST_WRONG_USE;
    error = errorListOf(result.errors);
    handle->lastResult.emplace(result);
    handle->lastPlan.emplace(plan);
    status = result.status;
  } catch (const std::bad_alloc&) {
    error = errorListOfException();
    handle->lastResult.emplace(failedBy(mtlhost::Result::Failure::kMemory));
    handle->lastPlan.reset();
  } catch (...) {
    error = errorListOfException();
    handle->lastResult.emplace(failedBy(mtlhost::Result::Failure::kOther));
    handle->lastPlan.reset();
  }
  handle->events.reset();
  handle->lastError = std::move(error);
  return codeOf(status);
}

std::int32_t perform(mtlhost_library* handle, mtlhost::Result (mtlhost::Library::*operation)()) {
  const std::int32_t code = perform(handle, [operation](mtlhost::Library& library, mtlhost::Plan&) {
    return (library.*operation)();
  });
  if (code != MTLHOST_WRONG_USE) handle->lastPlan.reset();
  return code;
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
  } else if (hasNegativeNumbers(taken)) {
    reason = ownErrorList("mtlhost_open() takes no negative numbers");
  } else if (!hasEach(taken.keys, taken.key_count)) {
    reason = ownErrorList("mtlhost_open() needs each of the keys, and their count");
  } else if (!hasEach(taken.mirrors, taken.mirror_count)) {
    reason = ownErrorList("mtlhost_open() needs each of the mirrors, and their count");
  } else if (!hasEach(taken.fields, taken.field_count)) {
    reason = ownErrorList("mtlhost_open() needs each of the request fields, and their count");
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
  return perform(library, &mtlhost::Library::check);
}

std::int32_t mtlhost_plan(mtlhost_library* library) {
  return perform(library,
                 [](mtlhost::Library& opened, mtlhost::Plan& plan) { return opened.plan(plan); });
}

std::int32_t mtlhost_sync(mtlhost_library* library) {
  return perform(library, &mtlhost::Library::run);
}

std::int32_t mtlhost_verify(mtlhost_library* library) {
  return perform(library, &mtlhost::Library::verify);
}

std::int32_t mtlhost_repair(mtlhost_library* library) {
  return perform(library, &mtlhost::Library::repair);
}

void mtlhost_cancel(mtlhost_library* library) {
  if (library != nullptr) library->library->cancel();
}

std::int32_t mtlhost_is_unfinished(const char* target_directory) {
  try {
    return mtlhost::isUpdateUnfinished(textOf(target_directory)) ? 1 : 0;
  } catch (const std::bad_alloc&) {
    return 0;
  }
}

const mtlhost_result* mtlhost_last_result(const mtlhost_library* library) {
  return library != nullptr ? &*library->lastResult : nullptr;
}

const mtlhost_update_plan* mtlhost_last_plan(const mtlhost_library* library) {
  return library != nullptr && library->lastPlan ? &*library->lastPlan : nullptr;
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

std::int64_t mtlhost_parse_size(const char* text) {
  return mtlhost::parseSize(text != nullptr ? text : "").value_or(-1);
}

std::int64_t mtlhost_parse_duration(const char* text) {
  const auto time = mtlhost::parseDuration(text != nullptr ? text : "");
  return time ? time->count() : -1;
}

const char* mtlhost_version(void) {
  return MTLHOST_VERSION;
}
