// Builds the lists of errors that C hosts walk. One entry is always available without allocating,
// to report that memory ran out.
#include "error_list.h"

#include <exception>
#include <new>

#include "mtlhost/utf8.h"

namespace {

mtlhost_error outOfMemory{"",
                          -1,
                          "Out of memory",
                          0,
                          0,
                          mtlhost::ErrorKind::kMemory,
                          "",
                          "There is not enough memory.",
                          "Close other programs, then try again.",
                          nullptr};

ErrorList listFrom(mtlhost::Errors::const_iterator error, mtlhost::Errors::const_iterator end) {
  if (error == end) return nullptr;
  return ErrorList(new mtlhost_error{
      mtlhost::validUtf8(error->tag), error->code, mtlhost::validUtf8(error->message),
      error->connectionReason, error->httpStatus, error->kind, mtlhost::validUtf8(error->about),
      error->sentence, error->hint, listFrom(error + 1, end)});
}

/// Kinds have numbers of their own in C, whatever becomes of their order in C++.
std::int32_t kindOf(mtlhost::ErrorKind kind) {
  using Kind = mtlhost::ErrorKind;
  switch (kind) {
    case Kind::kSettings:
      return MTLHOST_KIND_SETTINGS;
    case Kind::kAddress:
      return MTLHOST_KIND_ADDRESS;
    case Kind::kName:
      return MTLHOST_KIND_NAME;
    case Kind::kConnection:
      return MTLHOST_KIND_CONNECTION;
    case Kind::kCertificate:
      return MTLHOST_KIND_CERTIFICATE;
    case Kind::kProxy:
      return MTLHOST_KIND_PROXY;
    case Kind::kAnswer:
      return MTLHOST_KIND_ANSWER;
    case Kind::kContent:
      return MTLHOST_KIND_CONTENT;
    case Kind::kUntrusted:
      return MTLHOST_KIND_UNTRUSTED;
    case Kind::kDisk:
      return MTLHOST_KIND_DISK;
    case Kind::kPermission:
      return MTLHOST_KIND_PERMISSION;
    case Kind::kBusy:
      return MTLHOST_KIND_BUSY;
    case Kind::kLimit:
      return MTLHOST_KIND_LIMIT;
    case Kind::kCancelled:
      return MTLHOST_KIND_CANCELLED;
    case Kind::kModule:
      return MTLHOST_KIND_MODULE;
    case Kind::kMemory:
      return MTLHOST_KIND_MEMORY;
    case Kind::kOther:
      break;
  }
  return MTLHOST_KIND_OTHER;
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
    mtlhost::Error error{"mtlhost", -1, message};
    error.kind = mtlhost::ErrorKind::kSettings;
    error.sentence = mtlhost::printableLine(error.message) + '.';
    return errorListOf({error});
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

std::int32_t mtlhost_error_kind(const mtlhost_error* error) {
  return error != nullptr ? kindOf(error->kind) : MTLHOST_KIND_OTHER;
}

const char* mtlhost_error_about(const mtlhost_error* error) {
  return error != nullptr ? error->about.c_str() : "";
}

const char* mtlhost_error_sentence(const mtlhost_error* error) {
  return error != nullptr ? error->sentence.c_str() : "";
}

const char* mtlhost_error_hint(const mtlhost_error* error) {
  return error != nullptr ? error->hint.c_str() : "";
}

const mtlhost_error* mtlhost_error_next(const mtlhost_error* error) {
  return error != nullptr ? error->next.get() : nullptr;
}

void mtlhost_free_error(mtlhost_error* error) {
  if (error != &outOfMemory) delete error;
}
