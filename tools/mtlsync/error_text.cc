// Writes an error chain as one line for each cause, with words in place of the numbers of a
// connection error.
#include "mtlsync/error_text.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <string_view>
#include <utility>

#include "mtlhost/system.h"
#include "mtllib/transfer_progress.h"
#include "rules/printable.h"
#include "update/connection_text.h"

namespace mtlsync {

namespace {

constexpr const char* kOwnTag = "mtlsync";
constexpr const char* kKitTag = "mtlhost";
constexpr const char* kConnectionErrorTag = "HttpGetter::responseErrorCb";
constexpr const char* kConnectionErrorFormat =
    "Connection error: reason=%d extraF=%x underlying=%d";
constexpr const char* kHttpStatusFormat = "Unexpected HTTP status (%d)";
constexpr const char* kListHttpStatusFormat = "unexpected HTTP status %d";
constexpr const char* kSaveTag = "DownloaderImpl::saveFile";
constexpr const char* kAbortMessage = "Download aborted (";
constexpr const char* kCancelledMessage = "cancelled";

/// The numbers of which the message of a connection error consists.
struct ConnectionNumbers {
  int reason = 0;
  unsigned flags = 0;
  int underlying = 0;
};

std::optional<ConnectionNumbers> connectionNumbersOf(const ErrorEntry& entry) {
  if (entry.tag != kConnectionErrorTag) return std::nullopt;
  ConnectionNumbers numbers;
  const int count = std::sscanf(entry.message.c_str(), kConnectionErrorFormat, &numbers.reason,
                                &numbers.flags, &numbers.underlying);
  return count == 3 ? std::optional(numbers) : std::nullopt;
}

std::string entryText(const ErrorEntry& entry, bool detailed) {
  const std::string code = std::to_string(entry.code);
  std::string text = mtlrules::printableLine(entry.message);
  if (text.empty()) text = "error " + code;
  const std::string explanation = explanationOf(entry);
  if (!explanation.empty()) text += " (" + explanation + ")";
  if (!detailed) return text;
  return text + " [" + (entry.tag.empty() ? "" : mtlrules::printableLine(entry.tag) + ", ") +
         "code " + code + "]";
}

}  // namespace

ErrorEntry ownError(std::string message) {
  return {kOwnTag, -1, std::move(message)};
}

ErrorEntries asOwn(ErrorEntries entries) {
  for (ErrorEntry& entry : entries) {
    if (entry.tag == kKitTag) entry.tag = kOwnTag;
  }
  return entries;
}

std::optional<std::uint32_t> connectionReasonOf(const ErrorEntry& entry) {
  if (entry.connectionReason != 0) return entry.connectionReason;
  const std::optional<ConnectionNumbers> numbers = connectionNumbersOf(entry);
  if (!numbers) return std::nullopt;
  return static_cast<std::uint32_t>(numbers->reason);
}

std::optional<int> httpStatusOf(const ErrorEntry& entry) {
  if (entry.httpStatus != 0) return entry.httpStatus;
  int status = 0;
  for (const char* format : {kHttpStatusFormat, kListHttpStatusFormat}) {
    if (std::sscanf(entry.message.c_str(), format, &status) == 1) return status;
  }
  return std::nullopt;
}

std::string explanationOf(const ErrorEntry& entry) {
  const std::optional<ConnectionNumbers> numbers = connectionNumbersOf(entry);
  if (!numbers) return "";
  std::string text = mtlupdate::connectionReasonText(static_cast<std::uint32_t>(numbers->reason));
  if ((numbers->flags & Krell::Networking::CONNECTION_ERROR_SYSTEM_NUMBER) != 0) {
    text += (text.empty() ? "" : ": ") + mtlhost::systemErrorText(numbers->underlying);
  }
  const bool ofAnswer = numbers->reason == Krell::Networking::CONNECTION_ERROR_PROTOCOL ||
                        numbers->reason == Krell::Networking::CONNECTION_ERROR_LIMIT;
  const bool isRule = numbers->flags == Krell::Networking::CONNECTION_ERROR_RULE_NUMBER;
  const std::string rule = ofAnswer && isRule ? mtlupdate::brokenRuleText(numbers->underlying) : "";
  return rule.empty() ? text : text + ": " + rule;
}

bool isAbort(const ErrorEntries& entries) {
  return std::any_of(entries.begin(), entries.end(), [](const ErrorEntry& entry) {
    const bool isOfEngine = entry.tag == kKitTag && entry.message == kCancelledMessage;
    return isOfEngine || entry.message.rfind(kAbortMessage, 0) == 0;
  });
}

bool isFailedSave(const ErrorEntries& entries) {
  return std::any_of(entries.begin(), entries.end(),
                     [](const ErrorEntry& entry) { return entry.tag == kSaveTag; });
}

std::vector<std::string> errorLines(const ErrorEntries& entries, bool detailed) {
  std::vector<std::string> lines;
  for (const ErrorEntry& entry : entries) {
    lines.push_back((lines.empty() ? "" : "  because: ") + entryText(entry, detailed));
  }
  return lines;
}

}  // namespace mtlsync
