/// @file
/// What failed, and why.
#ifndef MTLLIB_HOST_ERROR_H_
#define MTLLIB_HOST_ERROR_H_

#include <cstdint>
#include <string>
#include <vector>

namespace mtlhost {

/// One failure.
struct Error {
  /// Who met it, such as "DownloaderImpl::saveFile"; "mtlhost" for failures of the kit
  /// itself; "" when unknown.
  std::string tag;
  /// -1, or a system error code (Win32 numbering on every platform).
  int code = -1;
  /// What happened; "" when there is nothing to say.
  std::string message;
  /// Of the engine: the Krell::Networking::ConnectionErrorReason of a connection that failed, else
  /// 0.
  std::uint32_t connectionReason = 0;
  /// Of the engine: the HTTP status of an answer that was refused, else 0.
  int httpStatus = 0;
};

/// A failure and its causes, newest first. Empty when there is none.
using Errors = std::vector<Error>;

}  // namespace mtlhost

#endif  // MTLLIB_HOST_ERROR_H_
