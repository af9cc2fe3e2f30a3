// Builds the lists of errors that C hosts walk. One entry is always available without allocating,
// to report that memory ran out.
#include "error_list.h"

#include <exception>
#include <new>

#include "mtlhost/utf8.h"

namespace {

mtlhost_error outOfMemory{"", -1, "Out of memory", 0, 0, nullptr};

ErrorList listFrom(mtlhost::Errors::const_iterator error, mtlhost::Errors::const_iterator end) {
  if (error == end) return nullptr;
  return ErrorList(new mtlhost_error{mtlhost::validUtf8(error->tag), error->code,
                                     mtlhost::validUtf8(error->message), error->connectionReason,
                                     error->httpStatus, listFrom(error + 1, end)});
}

}  // namespace

ErrorList errorListOf(const mtlhost::Errors& errors) noexcept {
  try {
    return listFrom(errors.begin(), errors.end());
  } catch (const std::bad_alloc&) {
    return ErrorList(&outOfMemory);
  }
}

ErrorList errorListOfException() noexcept {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    return ErrorList(&outOfMemory);
  } catch (const std::exception& exception) {
    return ownErrorList(exception.what());
  } catch (...) {
    return ownErrorList("The callback threw an exception");
  }
}

ErrorList ownErrorList(const char* message) noexcept {
  try {
    return errorListOf({{"mtlhost", -1, message}});
  } catch (const std::bad_alloc&) {
    return ErrorList(&outOfMemory);
  }
}

const char* mtlhost_error_tag(const mtlhost_error* error) {
  return error != nullptr ? error->tag.c_str() : "";
}

std::int32_t mtlhost_error_code(const mtlhost_error* error) {
  return error != nullptr ? error->code : 0;
}

const char* mtlhost_error_message(const mtlhost_error* error) {
  return error != nullptr ? error->message.c_str() : "";
}

std::int32_t mtlhost_error_connection_reason(const mtlhost_error* error) {
  return error != nullptr ? static_cast<std::int32_t>(error->connectionReason) : 0;
}

std::int32_t mtlhost_error_http_status(const mtlhost_error* error) {
  return error != nullptr ? error->httpStatus : 0;
}

const mtlhost_error* mtlhost_error_next(const mtlhost_error* error) {
  return error != nullptr ? error->next.get() : nullptr;
}

void mtlhost_free_error(mtlhost_error* error) {
  if (error != &outOfMemory) delete error;
}
