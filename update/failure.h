// A Failure says why an operation failed: in words for people, and as a kind for programs.
// Operations of the engine that can fail return an Outcome.
#ifndef MTLLIB_UPDATE_FAILURE_H_
#define MTLLIB_UPDATE_FAILURE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <system_error>

namespace mtlupdate {

struct Failure {
  enum class Kind {
    kUsage,      ///< What the host asked for cannot be done in any circumstances.
    kNetwork,    ///< The network or the server: worth trying again later.
    kDisk,       ///< The local disk or folder.
    kContent,    ///< What arrived, or is there, is not what was published.
    kUntrusted,  ///< What arrived, or is there, is not what the library's publisher signed.
    kLimit,      ///< A limit that the host set would be exceeded.
    kBusy,       ///< Another run is at work on the folder.
    kCancelled,  ///< The host asked to stop.
    kMemory,     ///< Not enough memory.
  };

  Kind kind;
  std::string text{};                  ///< Why, in UTF-8: one line, without a full stop at its end.
  std::string about{};                 ///< The URL or the file that it is about; "" for neither.
  bool isTransient = false;            ///< Trying the very same again may work.
  std::uint32_t connectionReason = 0;  ///< ConnectionErrorReason of a failed connection; else 0.
  int httpStatus = 0;                  ///< Of an answer that was refused; else 0.
  std::error_code system{};            ///< kDisk: the system's error, if it reported one.

  /// What more is known about why.
  enum class Cause {
    kUnknown,
    kAddress,            ///< The library's address cannot be used.
    kNotHttps,           ///< It is of http, and what is to be sent goes over https alone.
    kProxySetting,       ///< The proxy's address cannot be used.
    kUnknownAuthority,   ///< Of a certificate: as Krell::Networking::CertificateProblem.
    kCertificateNotNow,  ///< The same.
    kOtherName,          ///< The same.
    kNoAuthorities,      ///< The same.
    kProxyRefused,       ///< The proxy answered, and opened no tunnel.
    kProxyPassword,      ///< The proxy wants to know who asks.
    kNotConnected,       ///< The time for connecting was over.
    kStalled,            ///< The answer did not begin, or stalled.
    kWebPage,            ///< What came in the place of a list is a page for browsers.
    kMostRemoved,        ///< More of the copy would be removed than the host allows.
    kKeysMissing,        ///< The copy is updated with keys only.
    kOtherLibrary,       ///< The copy is one of another library.
    kOlderRelease,       ///< The release is older than what the copy has seen.
    kExpired,            ///< The release has.
    kTooLittleRoom,      ///< On the disk, before anything is fetched.
    kNoKeptList          ///< No update of the copy has kept its list.
  };
  Cause cause = Cause::kUnknown;
};

inline Failure because(Failure::Cause cause, Failure failure) {
  failure.cause = cause;
  return failure;
}

/// Nothing when it worked.
using Outcome = std::optional<Failure>;

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_FAILURE_H_
