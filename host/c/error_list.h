// An error list is a chain of failures in the form in which C hosts walk it.
#ifndef MTLLIB_HOST_C_ERROR_LIST_H_
#define MTLLIB_HOST_C_ERROR_LIST_H_

#include <cstdint>
#include <memory>
#include <string>

#include "mtlhost.h"
#include "mtlhost/error.h"

struct FreeError {
  void operator()(mtlhost_error* error) const noexcept { mtlhost_free_error(error); }
};
using ErrorList = std::unique_ptr<mtlhost_error, FreeError>;

struct mtlhost_error {
  std::string tag;
  std::int32_t code;
  std::string message;
  std::uint32_t connectionReason;
  int httpStatus;
  mtlhost::ErrorKind kind;
  std::string about;
  std::string sentence;
  std::string hint;
  ErrorList next;
};

/// The same in valid UTF-8; null when there is none. When memory runs out, an entry that
/// says so.
ErrorList errorListOf(const mtlhost::Errors& errors) noexcept;

/// The exception that is being handled.
ErrorList errorListOfException() noexcept;

/// A call that is not made as it should be.
ErrorList ownErrorList(const char* message) noexcept;

#endif  // MTLLIB_HOST_C_ERROR_LIST_H_
