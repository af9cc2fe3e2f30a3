// Chooses hints. The oldest cause of a failure says what is wrong, the newest what could not be
// done.
#include "mtlsync/hints.h"

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string_view>

#include "common/system.h"
#include "mtllib/transfer_progress.h"
#include "rules/printable.h"

namespace mtlsync {

namespace {

// Of Windows, and on every system in the library's errors.
constexpr int kAccessDenied = 5;
constexpr int kWriteProtected = 19;
constexpr int kHandleDiskFull = 39;
constexpr int kDiskFull = 112;

std::string shellWord(const std::string& argument) {
  constexpr const char* kHarmless =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-+=./:,@%";
  if (argument.find_first_not_of(kHarmless) == argument.npos) return argument;
  std::string text = "\"";
  for (const char c : argument) {
    if (c == '"' || c == '$' || c == '`') text += '\\';
    text += c;
  }
  return text + '"';
}

/// Whether the oldest cause has one of these codes.
bool isCausedBy(const ErrorEntries& errors, std::initializer_list<int> codes) {
  return std::find(codes.begin(), codes.end(), errors.back().code) != codes.end();
}

std::string certificateHint() {
  const std::string hint = "Check the address and this computer's clock; ";
  // Where this one is set, the other has no effect.
  return common::environmentVariable("CURL_CA_BUNDLE").empty()
             ? hint + "SSL_CERT_FILE can name more authorities to trust."
             : hint + "the file that CURL_CA_BUNDLE names must have the server's authority.";
}

std::string connectionHint(std::uint32_t reason) {
  using namespace Krell::Networking;  // NOLINT(google-build-using-namespace)
  switch (reason) {
    case CONNECTION_ERROR_RESOLVE:
      return "Check the host's name in the address, and that this computer is online.";
    case CONNECTION_ERROR_CONNECT:
      return "Check the address and its port; where a proxy is needed, --proxy names it.";
    case CONNECTION_ERROR_TLS:
      return "Check the address: perhaps the server speaks http only, or an old TLS.";
    case CONNECTION_ERROR_PROXY:
      return "Check the proxy; --proxy names another one, --no-proxy does without.";
    case CONNECTION_ERROR_CERTIFICATE:
      return certificateHint();
    case CONNECTION_ERROR_SEND:
    case CONNECTION_ERROR_RECEIVE:
    case CONNECTION_ERROR_TRUNCATED:
    case CONNECTION_ERROR_TIMEOUT:
      return "Run it again: what was fetched stays.";
    default:
      return "";
  }
}

/// Whether the engine says so: its messages begin with the URL.
bool isAbout(const ErrorEntry& entry, std::string_view name) {
  const std::string_view url = std::string_view(entry.message).substr(0, entry.message.find(": "));
  return url.size() >= name.size() && url.substr(url.size() - name.size()) == name;
}

bool isOfStampOrList(const ErrorEntry& entry) {
  return entry.httpStatus != 0 && (isAbout(entry, "/id.txt") || isAbout(entry, "/filelist.json"));
}

/// Whether the stamp or the list was refused, which every library has. A file's failure may
/// consist of the cause alone.
bool isOfStampOrList(const ErrorEntries& errors) {
  static const std::string ownTag = ownError("").tag;
  return std::any_of(errors.begin(), errors.end(), [](const ErrorEntry& entry) {
    return entry.tag == ownTag || isOfStampOrList(entry) ||
           entry.tag == "DownloaderImpl::readRemoteIdFile" ||
           entry.tag == "DownloaderImpl::downloadListFile";
  });
}

std::string lackingFileHint(const Options& options) {
  const std::string fact = "The library lacks a file that it lists";
  if (!options.subPath.empty()) return fact + ": tell its publisher.";
  return mtlrules::printableLine(fact + "; \"mtlpublish verify " + shellWord(options.url) +
                                 "\" names it: tell its publisher.");
}

/// For a status that refuses what every library has; "" for all others.
std::string refusalHint(int status) {
  switch (status) {
    case 301:
    case 302:
    case 307:
    case 308:
      return "The library has moved: use its new address.";
    case 401:
    case 403:
      return "The server lets nobody in here: check the address, or ask who runs the server.";
    case 404:
      return "Check the address: where a library is, there are id.txt and filelist.json.";
    default:
      return "";
  }
}

std::string httpStatusHint(int status, const ErrorEntries& errors, const Options& options) {
  const std::string refusal = refusalHint(status);
  if (!refusal.empty()) return isOfStampOrList(errors) ? refusal : lackingFileHint(options);
  if (status == 407) {
    return "The proxy asks for a password, which cannot be given; --no-proxy does without.";
  }
  return status >= 500 ? "The server is in trouble: run it again later." : "";
}

std::string saveHint(const ErrorEntries& errors, const Options& options) {
  std::string when = "Once the disk is healthy";
  if (isCausedBy(errors, {kDiskFull, kHandleDiskFull})) when = "Once there is room on the disk";
  if (isCausedBy(errors, {kAccessDenied, kWriteProtected})) when = "Once you may write there";
  return when + ", \"" + commandWith("--repair", options) +
         "\" fetches whatever is missing or cut.";
}

std::string contentHint(const ErrorEntries& errors) {
  if (isAbout(errors.front(), "/filelist.json")) {
    return "Check the address: what answers there is not a library, perhaps a network's log-in "
           "page.";
  }
  return "Run it again later: perhaps the library is just being published. If that does not help, "
         "tell its publisher.";
}

/// Whether the words stand in the newest message.
bool isFound(const ErrorEntries& errors, const char* words) {
  return errors.front().message.find(words) != std::string::npos;
}

/// For what was not signed as it should be.
std::string untrustedHint(const ErrorEntries& errors) {
  if (isFound(errors, "older release")) return "Nothing was changed. Run it again later.";
  if (isFound(errors, "expired"))
    return "Nothing was changed. --allow-expired takes it, and warns.";
  return "Nothing was changed. If it stays so, ask the library's publisher, but not by way of its "
         "server.";
}

/// For what cannot be done, whatever the state of things is.
std::string usageHint(const ErrorEntries& errors, const Options& options) {
  if (isFound(errors, "was updated with keys")) {
    return "--key names them; --forget-keys goes on without, and nobody checks what comes.";
  }
  if (isFound(errors, "this is a copy of the library")) {
    return "--forget-keys makes it one of another library.";
  }
  if (options.mode == Mode::kVerify && isFound(errors, "has kept its list")) {
    return '"' + commandWith("--verify", options) + "\" compares with the library's own list.";
  }
  return isFound(errors, "would be removed") ? "--prune-most removes them all the same." : "";
}

}  // namespace

std::string commandWith(const std::string& option, const Options& options) {
  // Either separator will do, but shells read more into one of them.
  std::string directory = options.directory;
  std::replace(directory.begin(), directory.end(), '\\', '/');
  std::string text = "mtlsync ";
  if (!option.empty()) text += option + ' ';
  if (!options.subPath.empty()) text += "--sub-path " + shellWord(options.subPath) + ' ';
  if (options.proxyMode == PROXY_MODE_EXPLICIT) {
    text += "--proxy " + shellWord(options.proxyAddress) + ' ';
  }
  if (options.proxyMode == PROXY_MODE_DISABLED) text += "--no-proxy ";
  for (const std::string& key : options.trust.keys)
    text += "--key " + shellWord(key) + ' ';
  if (!options.trust.libraryName.empty()) {
    text += "--name " + shellWord(options.trust.libraryName) + ' ';
  }
  const auto looksLikeAnOption = [](const std::string& name) { return name.rfind('-', 0) == 0; };
  if (looksLikeAnOption(options.url) || looksLikeAnOption(directory)) text += "-- ";
  text += options.url.empty() ? "URL" : shellWord(options.url);
  return mtlrules::printableLine(text + ' ' + shellWord(directory));
}

std::string hintForDifferences(const Options& options) {
  return '"' + commandWith("--repair", options) + "\" fetches what is missing or wrong.";
}

std::string hintFor(const ErrorEntries& errors, const Options& options) {
  if (errors.empty() || isAbort(errors)) return "";
  if (isFailedSave(errors)) return saveHint(errors, options);
  if (const std::optional<std::uint32_t> reason = connectionReasonOf(errors.back())) {
    return connectionHint(*reason);
  }
  if (const std::optional<int> status = httpStatusOf(errors.back())) {
    return httpStatusHint(*status, errors, options);
  }
  if (isCausedBy(errors, {kAccessDenied, kWriteProtected})) {
    return mtlrules::printableLine("Check that you may write in \"" + options.directory + "\".");
  }
  return "";
}

std::string hintFor(mtlhost::Result::Failure failure, const ErrorEntries& errors,
                    const Options& options) {
  using Failure = mtlhost::Result::Failure;
  if (errors.empty()) return "";
  switch (failure) {
    case Failure::kUsage:
      return usageHint(errors, options);
    case Failure::kDisk:
      return "Once that is put right, run it again: what was fetched is kept.";
    case Failure::kContent:
      return contentHint(errors);
    case Failure::kLimit:
      return "--max-file-size and --max-total-size say how much is taken.";
    case Failure::kAnotherRun:
      return "--wait waits until it has ended.";
    case Failure::kUntrusted:
      return untrustedHint(errors);
    case Failure::kNone:
    case Failure::kOther:
    case Failure::kNetwork:
    case Failure::kMemory:
      break;
  }
  return "";
}

}  // namespace mtlsync
