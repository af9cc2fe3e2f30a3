// A Failure says why an operation failed: in words for people, and as a kind for programs.
// Operations of the engine that can fail return an Outcome.
#ifndef MTLLIB_UPDATE_FAILURE_H_
#define MTLLIB_UPDATE_FAILURE_H_

#include <cstdint>
#include <optional>
#include <string>

namespace mtlupdate {

struct Failure {
  enum class Kind {
    kUsage,      ///< What was asked for cannot be done, whatever the state of things is.
    kNetwork,    ///< The network or the server: worth trying again later.
    kDisk,       ///< The local disk or folder.
    kContent,    ///< What arrived, or lies there, is not what was published.
    kUntrusted,  ///< What arrived, or lies there, is not what the library's publisher signed.
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
};

/// Nothing when it worked.
using Outcome = std::optional<Failure>;

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_FAILURE_H_
