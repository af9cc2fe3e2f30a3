// A chain becomes a line a cause; the numbers of a connection error become words.
#include "mtlsync/error_text.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <string_view>
#include <utility>

#include "mtlhost/system.h"
#include "mtllib/transfer_progress.h"
#include "rules/printable.h"

namespace mtlsync {

namespace {

constexpr const char* kOwnTag = "mtlsync";
constexpr const char* kKitTag = "mtlhost";
constexpr std::string_view kKitsAdvice = "moduleFile names it";
constexpr std::string_view kOwnAdvice = "--module FILE names it";
constexpr const char* kConnectionErrorTag = "HttpGetter::responseErrorCb";
constexpr const char* kConnectionErrorFormat =
    "Connection error: reason=%d extraF=%x underlying=%d";
constexpr const char* kHttpStatusFormat = "Unexpected HTTP status (%d)";
constexpr const char* kListHttpStatusFormat = "unexpected HTTP status %d";
constexpr const char* kSaveTag = "DownloaderImpl::saveFile";
constexpr const char* kAbortMessage = "Download aborted (";

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

// "" for what breaks no rule.
const char* brokenRuleText(const ConnectionNumbers& numbers) {
  using namespace Krell::Networking;  // NOLINT(google-build-using-namespace)
  if (numbers.flags != CONNECTION_ERROR_RULE_NUMBER) return "";
  switch (numbers.underlying) {
    case HTTP_RULE_STATUS_LINE:
      return "it does not begin as HTTP/1 does";
    case HTTP_RULE_FORBIDDEN_BYTE:
      return "its header has a zero byte or a lone carriage return";
    case HTTP_RULE_FIELD:
      return "a line of its header is not a field";
    case HTTP_RULE_LENGTH:
      return "its length is not one plain number";
    case HTTP_RULE_CODING:
      return "its transfer coding is another than chunked";
    case HTTP_RULE_CHUNK:
      return "its chunks do not follow one another";
    case HTTP_RULE_UPGRADE:
      return "it changes to another protocol";
    case HTTP_RULE_HEADER_SIZE:
      return "its header has more than 300 KiB";
    case HTTP_RULE_FIELD_COUNT:
      return "its header has more than 1,000 fields";
    case HTTP_RULE_CHUNK_EXTENSIONS:
      return "its chunks have more than 16 KiB of extensions";
    case HTTP_RULE_INTERIM_ANSWERS:
      return "more than 32 interim answers came before it";
    case HTTP_RULE_BODY_SIZE:
      return "its body is longer than allowed";
    default:
      return "";
  }
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
    if (entry.tag != kKitTag) continue;
    entry.tag = kOwnTag;
    const std::size_t begin =
        entry.message.size() - std::min(entry.message.size(), kKitsAdvice.size());
    if (entry.message.compare(begin, std::string::npos, kKitsAdvice) == 0) {
      entry.message.replace(begin, std::string::npos, kOwnAdvice);
    }
  }
  return entries;
}

std::string connectionReasonText(std::uint32_t reason) {
  using namespace Krell::Networking;  // NOLINT(google-build-using-namespace)
  switch (reason) {
    case CONNECTION_ERROR_RESOLVE:
      return "the server's name could not be resolved";
    case CONNECTION_ERROR_CONNECT:
      return "no connection to the server";
    case CONNECTION_ERROR_TLS:
      return "the TLS handshake or a TLS record failed";
    case CONNECTION_ERROR_PROXY:
      return "the proxy could not be reached or refused";
    case CONNECTION_ERROR_SEND:
      return "the request could not be sent";
    case CONNECTION_ERROR_RECEIVE:
      return "the connection broke before or in the response";
    case CONNECTION_ERROR_TRUNCATED:
      return "the body is shorter than announced";
    case CONNECTION_ERROR_TIMEOUT:
      return "connecting took too long, or the transfer stalled";
    case CONNECTION_ERROR_ABORTED:
      return "the connections were closed meanwhile";
    case CONNECTION_ERROR_PROTOCOL:
      return "the answer is not valid HTTP";
    case CONNECTION_ERROR_MEMORY:
      return "out of memory";
    case CONNECTION_ERROR_OTHER:
      return "no closer reason known";
    case CONNECTION_ERROR_CERTIFICATE:
      return "the server's certificate could not be verified";
    case CONNECTION_ERROR_LIMIT:
      return "the answer is larger than what is taken";
    default:
      return "";
  }
}

std::optional<std::uint32_t> connectionReasonOf(const ErrorEntry& entry) {
  const std::optional<ConnectionNumbers> numbers = connectionNumbersOf(entry);
  if (!numbers) return std::nullopt;
  return static_cast<std::uint32_t>(numbers->reason);
}

std::optional<int> httpStatusOf(const ErrorEntry& entry) {
  int status = 0;
  for (const char* format : {kHttpStatusFormat, kListHttpStatusFormat}) {
    if (std::sscanf(entry.message.c_str(), format, &status) == 1) return status;
  }
  return std::nullopt;
}

std::string explanationOf(const ErrorEntry& entry) {
  const std::optional<ConnectionNumbers> numbers = connectionNumbersOf(entry);
  if (!numbers) return "";
  std::string text = connectionReasonText(static_cast<std::uint32_t>(numbers->reason));
  if ((numbers->flags & Krell::Networking::CONNECTION_ERROR_SYSTEM_NUMBER) != 0) {
    text += (text.empty() ? "" : ": ") + mtlhost::systemErrorText(numbers->underlying);
  }
  const bool ofAnswer = numbers->reason == Krell::Networking::CONNECTION_ERROR_PROTOCOL ||
                        numbers->reason == Krell::Networking::CONNECTION_ERROR_LIMIT;
  const std::string rule = ofAnswer ? brokenRuleText(*numbers) : "";
  return rule.empty() ? text : text + ": " + rule;
}

bool isAbort(const ErrorEntries& entries) {
  return std::any_of(entries.begin(), entries.end(), [](const ErrorEntry& entry) {
    return entry.message.rfind(kAbortMessage, 0) == 0;
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
