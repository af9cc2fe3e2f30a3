// Decides when a request that failed is sent again, and how long to wait before that.
#ifndef MTLLIB_UPDATE_RETRIES_H_
#define MTLLIB_UPDATE_RETRIES_H_

#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>

namespace mtlupdate {

struct RetryPolicy {
  int tries = 5;                                 ///< Of one request, the first one included.
  std::chrono::milliseconds firstWait{500};      ///< Twice as long before each further try.
  std::chrono::milliseconds longestWait{30000};  ///< Of the waits that grow so.
  /// A server that asks to wait longer than this is not waited for.
  std::chrono::milliseconds mostPatience{120000};
};

/// How long to wait before a try, after so many that failed: at least half of what the policy
/// says, so that clients that failed together do not come back together. `random` is at least
/// 0 and less than 1.
std::chrono::milliseconds waitAfter(int failedTries, double random, const RetryPolicy& policy);

/// How long the fields Retry-After and Date of an answer ask to wait; none when they say nothing
/// that can be understood. A moment without a Date is not understood: the clock here may be wrong.
std::optional<std::chrono::seconds> askedWait(std::string_view retryAfter, std::string_view date);

/// Whether the same request may well succeed later: after this status of an answer.
bool isTransientStatus(int status);
/// The same, after a failure of the connection for this reason (ConnectionErrorReason).
bool isTransientReason(std::uint32_t reason);

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_RETRIES_H_
