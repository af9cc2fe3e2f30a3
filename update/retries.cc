// Computes waits, which double from try to try unless the server asks for a certain wait.
#include "update/retries.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>

#include "mtllib/transfer_progress.h"

namespace mtlupdate {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// More digits than these are more seconds than anybody waits.
constexpr std::size_t kMostDigits = 9;

std::optional<std::int64_t> fewDigits(std::string_view text) {
  if (text.empty() || text.size() > kMostDigits) return std::nullopt;
  std::int64_t number = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return std::nullopt;
    number = number * 10 + (c - '0');
  }
  return number;
}

std::optional<int> monthNamed(std::string_view name) {
  constexpr std::string_view kMonths = "JanFebMarAprMayJunJulAugSepOctNovDec";
  const std::size_t place = kMonths.find(name);
  if (name.size() != 3 || place == kMonths.npos || place % 3 != 0) return std::nullopt;
  return static_cast<int>(place / 3);
}

std::int64_t daysBeforeMonth(std::int64_t year, int month) {
  constexpr std::array<int, 12> kDays{0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
  const bool isLeap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
  const std::int64_t before = year - 1;
  return before * 365 + before / 4 - before / 100 + before / 400 +
         kDays[static_cast<std::size_t>(month)] + (isLeap && month > 1 ? 1 : 0);
}

// Seconds since some moment of "Sun, 06 Nov 1994 08:49:37 GMT", the one form that servers may
// send; the two older ones are not read.
std::optional<std::int64_t> momentFrom(std::string_view text) {
  constexpr std::string_view kForm = "***, ## *** #### ##:##:## GMT";
  if (text.size() != kForm.size()) return std::nullopt;
  for (std::size_t i = 0; i < kForm.size(); ++i) {
    if (kForm[i] != '*' && kForm[i] != '#' && kForm[i] != text[i]) return std::nullopt;
  }
  const auto day = fewDigits(text.substr(5, 2));
  const auto month = monthNamed(text.substr(8, 3));
  const auto year = fewDigits(text.substr(12, 4));
  const auto hour = fewDigits(text.substr(17, 2));
  const auto minute = fewDigits(text.substr(20, 2));
  const auto second = fewDigits(text.substr(23, 2));
  if (!day || !month || !year || !hour || !minute || !second) return std::nullopt;
  return ((daysBeforeMonth(*year, *month) + *day) * 24 + *hour) * 3600 + *minute * 60 + *second;
}

}  // namespace

milliseconds waitAfter(int failedTries, double random, const RetryPolicy& policy) {
  milliseconds wait = policy.firstWait;
  for (int i = 1; i < failedTries && wait < policy.longestWait; ++i)
    wait *= 2;
  const auto most = static_cast<double>(std::min(wait, policy.longestWait).count());
  return milliseconds(static_cast<std::int64_t>(most * (1 + random) / 2));
}

std::optional<seconds> askedWait(std::string_view retryAfter, std::string_view date) {
  if (const auto number = fewDigits(retryAfter)) return seconds(*number);
  const auto then = momentFrom(retryAfter);
  const auto now = momentFrom(date);
  if (!then || !now) return std::nullopt;
  return seconds(std::max<std::int64_t>(*then - *now, 0));
}

bool isTransientStatus(int status) {
  constexpr int kTooManyRequests = 429;
  constexpr int kFirstOfServerErrors = 500;
  return status == kTooManyRequests || status >= kFirstOfServerErrors;
}

bool isTransientReason(std::uint32_t reason) {
  using namespace Krell::Networking;  // NOLINT(google-build-using-namespace)
  switch (reason) {
    case CONNECTION_ERROR_RESOLVE:
    case CONNECTION_ERROR_CONNECT:
    case CONNECTION_ERROR_TLS:
    case CONNECTION_ERROR_PROXY:
    case CONNECTION_ERROR_SEND:
    case CONNECTION_ERROR_RECEIVE:
    case CONNECTION_ERROR_TRUNCATED:
    case CONNECTION_ERROR_TIMEOUT:
      return true;
    default:
      return false;
  }
}

}  // namespace mtlupdate
