// Explains the module's chains: tags say what was being done, the oldest record says why it
// failed, and the settings say where.
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "explanation.h"
#include "mtlhost/system.h"
#include "mtllib/transfer_progress.h"
#include "rules/address.h"
#include "rules/own_names.h"
#include "rules/path.h"
#include "update/connection_text.h"

namespace mtlhost {

namespace {

using Cause = mtlupdate::Failure::Cause;

constexpr const char* kStampTag = "DownloaderImpl::readRemoteIdFile";
constexpr const char* kFetchListTag = "DownloaderImpl::downloadListFile";
constexpr const char* kParseListTag = "DownloaderImpl::parseListFile";
constexpr const char* kLossyEntryTag = "DownloaderImpl::ListFile::init";
constexpr const char* kFilesTag = "DownloaderImpl::downloadFiles";
constexpr const char* kSaveTag = "DownloaderImpl::saveFile";
constexpr const char* kFolderTag = "DownloaderImpl::download";
constexpr const char* kAddressTag = "DownloaderImpl::initHttpGetter";
constexpr const char* kConnectionTag = "HttpGetter::responseErrorCb";

constexpr const char* kConnectionFormat = "Connection error: reason=%d extraF=%x underlying=%d";
constexpr const char* kStatusFormat = "Unexpected HTTP status (%d)";
constexpr const char* kAborted = "Download aborted (";
constexpr const char* kInvalidProxy = "Invalid proxy ";
constexpr const char* kStampNotWritten = "Creating local stamp file failed";
constexpr const char* kListSize = "Incorrect size of json file list";

/// The numbers of which the message of a connection error consists.
struct ConnectionNumbers {
  int reason = 0;
  unsigned flags = 0;
  int underlying = 0;
};

std::optional<ConnectionNumbers> connectionNumbersOf(const Error& error) {
  if (error.tag != kConnectionTag) return std::nullopt;
  ConnectionNumbers numbers;
  const int count = std::sscanf(error.message.c_str(), kConnectionFormat, &numbers.reason,
                                &numbers.flags, &numbers.underlying);
  return count == 3 ? std::optional(numbers) : std::nullopt;
}

std::string connectionText(const ConnectionNumbers& numbers) {
  using namespace Krell::Networking;  // NOLINT(google-build-using-namespace)
  std::string text = mtlupdate::connectionReasonText(static_cast<std::uint32_t>(numbers.reason));
  if ((numbers.flags & CONNECTION_ERROR_SYSTEM_NUMBER) != 0) {
    text += (text.empty() ? "" : ": ") + systemErrorText(numbers.underlying);
  }
  const bool ofAnswer =
      numbers.reason == CONNECTION_ERROR_PROTOCOL || numbers.reason == CONNECTION_ERROR_LIMIT;
  const bool isRule = numbers.flags == CONNECTION_ERROR_RULE_NUMBER;
  const std::string rule = ofAnswer && isRule ? mtlupdate::brokenRuleText(numbers.underlying) : "";
  if (!rule.empty()) text += ": " + rule;
  return text.empty() ? "the connection failed" : text;
}

std::optional<int> statusOf(const Error& error) {
  int status = 0;
  const bool isStatus = std::sscanf(error.message.c_str(), kStatusFormat, &status) == 1;
  return isStatus ? std::optional(status) : std::nullopt;
}

const Error* find(const Errors& chain, std::string_view tag) {
  const auto found = std::find_if(chain.begin(), chain.end(),
                                  [tag](const Error& error) { return error.tag == tag; });
  return found != chain.end() ? &*found : nullptr;
}

/// A message has one name, in quotation marks.
std::string nameIn(const std::string& message) {
  const std::size_t begin = message.find('"');
  const std::size_t end = message.rfind('"');
  return begin < end && end != message.npos ? message.substr(begin + 1, end - begin - 1) : "";
}

/// The system's words, which stand behind their number.
std::string withoutNumber(const std::string& message) {
  const std::size_t end = message.find(") ");
  return begins(message, "(") && end != message.npos ? message.substr(end + 2) : message;
}

std::string stampFile(const Subject& subject) {
  return mtlrules::joinedPath(subject.folder, mtlrules::stampName(subject.subPath));
}

std::string urlOf(const Subject& subject, const std::string& file) {
  return mtlrules::fileUrl(subject.address, file);
}

/// The URL of what the chain says was being fetched; "" when it does not say.
std::string fetched(const Errors& chain, const Subject& subject) {
  if (find(chain, kStampTag) != nullptr) {
    return urlOf(subject, mtlrules::stampName(subject.subPath));
  }
  for (const char* tag : {kFetchListTag, kParseListTag, kLossyEntryTag}) {
    if (find(chain, tag) != nullptr) return mtlrules::listUrl(subject.address, subject.subPath);
  }
  const Error* file = find(chain, kFilesTag);
  return file != nullptr ? urlOf(subject, nameIn(file->message)) : "";
}

/// Of a failed connection or a refusal.
void explainTransfer(Errors& chain, std::string about, const Subject& subject, const Why& why) {
  std::string what = "Could not fetch " + about;
  if (why.kind == ErrorKind::kProxy && !subject.proxy.empty()) {
    about = subject.proxy;
    what += " through the proxy " + about;
  }
  explain(chain.front(), what, why, std::move(about));
}

void explainLocal(Errors& chain, const std::string& file, const Subject& subject) {
  const Error& cause = chain.back();
  const Why why = whyNotWritten(cause.code, subject, withoutNumber(cause.message));
  explain(chain.front(), '"' + file + "\" cannot be written", why, file);
}

void explainContent(Errors& chain, const std::string& url) {
  explain(chain.front(), "The file " + url + " cannot be used",
          {ErrorKind::kContent, chain.back().message,
           "Check the address: what answers there is not a library, but perhaps a network's log-in "
           "page."},
          url);
}

/// The address, or the proxy for it, cannot be used.
void explainAddress(Errors& chain, const Subject& subject) {
  const Error& cause = chain.back();
  if (begins(cause.message, kInvalidProxy)) {
    const std::string proxy = nameIn(cause.message);
    explain(
        chain.front(), "The proxy \"" + proxy + "\" cannot be used",
        {ErrorKind::kProxy, "", "Set the address of an HTTP proxy, HOST:PORT, or use no proxy."},
        proxy);
    return;
  }
  explain(chain.front(), "The address " + subject.address + " cannot be used",
          {ErrorKind::kAddress, &cause != &chain.front() ? cause.message : "",
           "An address has the form http://HOST/PATH or https://HOST/PATH, without a user name."},
          subject.address);
}

bool isOutOfMemory(const Error& cause) {
  constexpr int kNotEnoughMemory = 8;
  return cause.code == kNotEnoughMemory || cause.message == "Out of memory" ||
         cause.message == "Out of resources";
}

}  // namespace

void explainChain(Errors& chain, const Subject& subject, const std::string& failedFile) {
  if (chain.empty()) return;
  const Error& cause = chain.back();
  // Which of the files on their way ended it, only a failure shows.
  const std::string asked = fetched(chain, subject);
  if (chain.front().kind == ErrorKind::kLimit) {
    chain.front().about = asked.empty() ? subject.address : asked;
    return;
  }
  const auto isAborted = [](const Error& error) { return begins(error.message, kAborted); };
  if (std::any_of(chain.begin(), chain.end(), isAborted)) {
    return explain(chain.front(), "Cancelled", {ErrorKind::kCancelled, "", ""}, subject.address);
  }
  const std::string known =
      asked.empty() && !failedFile.empty() ? urlOf(subject, failedFile) : asked;
  const std::string url = known.empty() ? subject.address : known;
  if (const auto numbers = connectionNumbersOf(cause)) {
    const auto reason = static_cast<std::uint32_t>(numbers->reason);
    return explainTransfer(chain, url, subject,
                           whyNotConnected(reason, Cause::kUnknown, connectionText(*numbers)));
  }
  if (const auto status = statusOf(cause)) {
    const std::string text = "the server answered with HTTP status " + std::to_string(*status);
    return explainTransfer(chain, url, subject, whyRefused(*status, url, text));
  }
  if (isOutOfMemory(cause)) {
    return explain(
        chain.front(), "",
        {ErrorKind::kMemory, "there is not enough memory", "Close other programs, then try again."},
        url);
  }
  if (find(chain, kAddressTag) != nullptr) return explainAddress(chain, subject);
  if (const Error* save = find(chain, kSaveTag)) {
    return explainLocal(chain, mtlrules::joinedPath(subject.folder, nameIn(save->message)),
                        subject);
  }
  if (find(chain, kFolderTag) != nullptr) return explainLocal(chain, subject.folder, subject);
  if (!known.empty()) return explainContent(chain, known);
  chain = explained(std::move(chain), ErrorKind::kOther, subject.address);
}

void explainWarning(Errors& chain, const Subject& subject) {
  const std::string text = chain.front().message;
  if (begins(text, kListSize)) {
    return explainContent(chain, mtlrules::listUrl(subject.address, subject.subPath));
  }
  const std::string stamp = stampFile(subject);
  // "...: [PFileStream::Create] 5: (5) Access is denied."
  const std::size_t begin = text.rfind(": (");
  const bool hasCode = begins(text, kStampNotWritten) && begin != text.npos;
  const int code = hasCode ? std::atoi(text.c_str() + begin + 3) : -1;
  Why why = whyNotWritten(code, subject, hasCode ? withoutNumber(text.substr(begin + 2)) : "");
  if (!hasCode) why.hint = "Free some space on the disk, then try again.";
  explain(chain.front(), '"' + stamp + "\" cannot be written", why, stamp);
}

}  // namespace mtlhost
