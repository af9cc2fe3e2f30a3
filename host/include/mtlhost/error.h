/// @file
/// The failures that the kit reports: what failed, and why.
///
/// @since 1.0
#ifndef MTLLIB_HOST_ERROR_H_
#define MTLLIB_HOST_ERROR_H_

#include <cstdint>
#include <string>
#include <vector>

namespace mtlhost {

/// What a failure is about.
enum class ErrorKind {
  kOther,        ///< None of the others.
  kSettings,     ///< What the host asked for cannot be done.
  kAddress,      ///< The library's address cannot be used.
  kName,         ///< The name of the server could not be resolved.
  kConnection,   ///< The server could not be reached, or the connection broke or stalled.
  kCertificate,  ///< The server could not prove its identity.
  kProxy,        ///< The proxy could not be used or reached, or refused.
  kAnswer,       ///< The server answered with something other than what was requested.
  kContent,      ///< What arrived, or is in the copy, is not what was published.
  kUntrusted,    ///< It is not what the library's publisher signed.
  kDisk,         ///< The local disk or folder.
  kPermission,   ///< No permission to read or write something there.
  kBusy,         ///< Another run is at work on the copy.
  kLimit,        ///< A limit of the settings would be exceeded.
  kCancelled,    ///< By the host or its user.
  kModule,       ///< The module, or what it needs, cannot be found or used.
  kMemory        ///< Not enough memory.
};

/// A kind as programs name it: "certificate".
const char* nameOf(ErrorKind kind);

/// One failure.
struct Error {
  /// The function that reported it, such as "DownloaderImpl::saveFile"; "mtlhost" for failures of
  /// the kit itself; "" if unknown.
  std::string tag;
  /// -1, or a system error code (Win32 numbering on every platform).
  int code = -1;
  /// What happened; "" if there is nothing to say.
  std::string message;
  /// With the engine, the Krell::Networking::ConnectionErrorReason of a connection that failed;
  /// otherwise 0.
  std::uint32_t connectionReason = 0;
  /// With the engine, the HTTP status of an answer that was refused; otherwise 0.
  int httpStatus = 0;

  /// @name The failure for users
  /// Set in the first error of a chain, which explains the chain as a whole, and empty in the
  /// others.
  /// @{

  /// What it is about.
  ErrorKind kind = ErrorKind::kOther;
  /// The URL, the file or folder with its full name, or the proxy that it is about; the library's
  /// address if nothing more specific is known. Without passwords, and without Settings::query. It
  /// may contain names that a server chose: printableLine() makes it safe to show.
  std::string about{};
  /// What happened, in a sentence that is safe to show.
  std::string sentence{};
  /// What to do about it, in a sentence or two that are safe to show; "" if there is nothing to
  /// say.
  std::string hint{};
  /// @}
};

/// A failure and its causes, newest first. Empty when there is none.
using Errors = std::vector<Error>;

}  // namespace mtlhost

#endif  // MTLLIB_HOST_ERROR_H_
