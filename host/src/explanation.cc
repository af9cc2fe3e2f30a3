// The tables of explanations, one for each kind of cause. Sentences are plain, since their readers
// have not read the manual.
#include "explanation.h"

#include <string_view>
#include <utility>

#include "module.h"
#include "mtllib/transfer_progress.h"
#include "platform/win32.h"
#include "rules/address.h"
#include "rules/printable.h"
#include "system_calls.h"
#include "update/connection_text.h"

namespace mtlhost {

namespace {

using Cause = mtlupdate::Failure::Cause;
using FailureKind = mtlupdate::Failure::Kind;

constexpr const char* kTryAgain = "Try again: what has been downloaded is kept.";
constexpr const char* kLimitHint = "If that much is expected, raise the limit in the settings.";
constexpr const char* kMemoryHint = "Close other programs, then try again.";

// Of Windows, and on every system in errors of the module; those that POSIX has nothing like, and
// one that not every compiler for Windows has.
constexpr int kSharingViolation = 32;
constexpr int kLockViolation = 33;
constexpr int kHandleDiskFull = 39;
constexpr int kMappedFile = 1224;
constexpr int kDiskQuotaExceeded = 1295;

constexpr int kProxyAuthenticationRequired = 407;

bool isUrl(std::string_view text) {
  return text.find("://") != text.npos;
}

bool endsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

bool isOfEveryLibrary(std::string_view url) {
  return endsWith(url, "/id.txt") || endsWith(url, "/filelist.json");
}

/// Files in quotation marks, URLs as they are.
std::string named(const std::string& about) {
  return isUrl(about) ? about : '"' + about + '"';
}

std::string asSentence(std::string text) {
  text = mtlrules::printableLine(text);
  if (text.empty()) return text;
  const char first = text.front();
  if (first >= 'a' && first <= 'z') text.front() = static_cast<char>(first - 'a' + 'A');
  if (text.back() != '.') text += '.';
  return text;
}

std::string certificateHint(Cause cause) {
  switch (cause) {
    case Cause::kCertificateNotNow:
      return "Check this computer's clock; if it is right, report this to whoever runs the server.";
    case Cause::kOtherName:
      return "Check the address: a different server answers there, perhaps a network's log-in "
             "page.";
    case Cause::kNoAuthorities:
      return "Check the file of trusted authorities (CA file): it must exist and be in PEM format.";
    case Cause::kUnknownAuthority:
      return "If the server uses a certificate authority of its own, such as a company's, set the "
             "file with that authority's certificate (CA file). Otherwise somebody else may be "
             "answering in the server's place.";
    default:
      return "Check the address and this computer's clock. If the server uses a certificate "
             "authority of its own, such as a company's, set the file with that authority's "
             "certificate (CA file).";
  }
}

std::string proxyHint(Cause cause) {
  switch (cause) {
    case Cause::kProxyPassword:
      return "Set the proxy's user name and password.";
    case Cause::kProxyRefused:
      return "Ask whoever runs the proxy to allow connections to the library's server, or use no "
             "proxy.";
    default:
      return "Check the proxy's address, or use no proxy.";
  }
}

Why whyNotUsable(const mtlupdate::Failure& failure) {
  switch (failure.cause) {
    case Cause::kAddress:
      return {
          ErrorKind::kAddress, failure.text,
          "An address has the form http://HOST/PATH or https://HOST/PATH, without a user name."};
    case Cause::kNotHttps:
      return {ErrorKind::kAddress, failure.text,
              "Use the library's https address, or send no request fields."};
    case Cause::kProxySetting:
      return {
          ErrorKind::kProxy, failure.text,
          "Only HTTP proxies are supported. Set the address of one, HOST:PORT, or use no proxy."};
    case Cause::kMostRemoved:
      return {ErrorKind::kSettings, failure.text,
              "If that is intended, allow most of the copy to be removed."};
    case Cause::kKeysMissing:
      return {ErrorKind::kSettings, failure.text,
              "Give the keys. If you forget them instead, updates are no longer checked."};
    case Cause::kNoKeptList:
      return {ErrorKind::kSettings, failure.text,
              "Update the copy first, or give the library's address to compare it with."};
    case Cause::kOtherLibrary:
      return {
          ErrorKind::kSettings, failure.text,
          "Check the library's name. To make this a copy of the other library, forget the keys."};
    default:
      return {ErrorKind::kSettings, failure.text, ""};
  }
}

Why whyNotTrusted(const mtlupdate::Failure& failure) {
  std::string hint = "Nothing was changed. ";
  if (failure.cause == Cause::kOlderRelease) {
    hint += "Try again later.";
  } else if (failure.cause == Cause::kExpired) {
    hint += "Try again later, or allow expired releases.";
  } else {
    hint += "If this persists, ask the library's publisher, by some way other than its server.";
  }
  return {ErrorKind::kUntrusted, failure.text, std::move(hint)};
}

Why whyNotPublished(const mtlupdate::Failure& failure) {
  const bool isPage = failure.cause == Cause::kWebPage;
  std::string text = isPage ? "it is a web page, not a library's list" : failure.text;
  if (isPage || endsWith(failure.about, "/filelist.json")) {
    return {ErrorKind::kContent, std::move(text),
            "Check the address: what answers there is not a library, but perhaps a network's "
            "log-in page."};
  }
  return {ErrorKind::kContent, std::move(text),
          "Try again later: the library may be being published right now. If that does not help, "
          "report this to the publisher."};
}

Why whyOnDisk(const mtlupdate::Failure& failure, const Subject& subject) {
  if (failure.isTransient) return whyNotWritten(kSharingViolation, subject, failure.text);
  if (failure.system) return whyNotWritten(windowsCode(failure.system), subject, failure.text);
  if (failure.cause == Cause::kTooLittleRoom) {
    return {ErrorKind::kDisk, failure.text, "Free some space on the disk, then try again."};
  }
  return {ErrorKind::kDisk, failure.text,
          "Move away what is there, then try again: what has been downloaded is kept."};
}

Why whyOf(const mtlupdate::Failure& failure, const Subject& subject) {
  switch (failure.kind) {
    case FailureKind::kUsage:
      return whyNotUsable(failure);
    case FailureKind::kNetwork:
      if (failure.connectionReason != 0) {
        return whyNotConnected(failure.connectionReason, failure.cause, failure.text);
      }
      return whyRefused(failure.httpStatus, failure.about, failure.text);
    case FailureKind::kDisk:
      return whyOnDisk(failure, subject);
    case FailureKind::kContent:
      return whyNotPublished(failure);
    case FailureKind::kUntrusted:
      return whyNotTrusted(failure);
    case FailureKind::kLimit:
      return {ErrorKind::kLimit, failure.text, kLimitHint};
    case FailureKind::kBusy:
      return {ErrorKind::kBusy, failure.text,
              "Try again when the other run has finished, or let this one wait for it."};
    case FailureKind::kCancelled:
      return {ErrorKind::kCancelled, "", ""};
    case FailureKind::kMemory:
      break;
  }
  return {ErrorKind::kMemory, "there is not enough memory", kMemoryHint};
}

/// What could not be done, as far as the failure is about something.
std::string whatFailed(const mtlupdate::Failure& failure, const Why& why, const Subject& subject) {
  const std::string& about = failure.about;
  switch (why.kind) {
    case ErrorKind::kAddress:
      return "The address " + about + " cannot be used";
    case ErrorKind::kProxy:
      if (failure.cause == Cause::kProxySetting) {
        return "The proxy \"" + about + "\" cannot be used";
      }
      return "Could not fetch " + about +
             (subject.proxy.empty() ? "" : " through the proxy " + subject.proxy);
    case ErrorKind::kContent:
      return isUrl(about) ? "The file " + about + " cannot be used" : named(about);
    case ErrorKind::kUntrusted:
      return isUrl(about) ? "The file " + about + " is not trusted" : named(about);
    case ErrorKind::kName:
    case ErrorKind::kConnection:
    case ErrorKind::kCertificate:
    case ErrorKind::kAnswer:
      return "Could not fetch " + about;
    case ErrorKind::kCancelled:
      return "Cancelled";
    case ErrorKind::kBusy:
      return named(subject.folder);
    default:
      return about.empty() ? "" : named(about);
  }
}

}  // namespace

bool begins(std::string_view text, std::string_view with) {
  return text.substr(0, with.size()) == with;
}

const char* nameOf(ErrorKind kind) {
  switch (kind) {
    case ErrorKind::kSettings:
      return "settings";
    case ErrorKind::kAddress:
      return "address";
    case ErrorKind::kName:
      return "name";
    case ErrorKind::kConnection:
      return "connection";
    case ErrorKind::kCertificate:
      return "certificate";
    case ErrorKind::kProxy:
      return "proxy";
    case ErrorKind::kAnswer:
      return "answer";
    case ErrorKind::kContent:
      return "content";
    case ErrorKind::kUntrusted:
      return "untrusted";
    case ErrorKind::kDisk:
      return "disk";
    case ErrorKind::kPermission:
      return "permission";
    case ErrorKind::kBusy:
      return "busy";
    case ErrorKind::kLimit:
      return "limit";
    case ErrorKind::kCancelled:
      return "cancelled";
    case ErrorKind::kModule:
      return "module";
    case ErrorKind::kMemory:
      return "memory";
    case ErrorKind::kOther:
      break;
  }
  return "other";
}

std::string textOf(const mtlupdate::Failure& failure) {
  return failure.about.empty() ? failure.text : failure.about + ": " + failure.text;
}

Why whyNotConnected(std::uint32_t reason, Cause cause, std::string text) {
  using namespace Krell::Networking;  // NOLINT(google-build-using-namespace)
  switch (reason) {
    case CONNECTION_ERROR_RESOLVE:
      return {ErrorKind::kName, std::move(text),
              "Check the server's name in the address, and that this computer is online."};
    case CONNECTION_ERROR_CONNECT:
      return {ErrorKind::kConnection, std::move(text),
              "Check the address and its port. If this network requires a proxy, set one."};
    case CONNECTION_ERROR_TLS:
      return {
          ErrorKind::kConnection, std::move(text),
          "Check the address: the server may support http only, or only outdated versions of TLS."};
    case CONNECTION_ERROR_PROXY:
      return {ErrorKind::kProxy, std::move(text), proxyHint(cause)};
    case CONNECTION_ERROR_CERTIFICATE:
      return {ErrorKind::kCertificate, std::move(text), certificateHint(cause)};
    case CONNECTION_ERROR_TIMEOUT:
      if (cause == Cause::kNotConnected) {
        return {ErrorKind::kConnection, std::move(text),
                "Check the address, and that this computer is online; then try again."};
      }
      return {ErrorKind::kConnection, std::move(text), kTryAgain};
    case CONNECTION_ERROR_RECEIVE:
      return {ErrorKind::kConnection, std::move(text),
              "Try again: what has been downloaded is kept. If this persists, check the address: "
              "the server may support https only."};
    case CONNECTION_ERROR_PROTOCOL:
    case CONNECTION_ERROR_LIMIT:
      return {ErrorKind::kAnswer, std::move(text),
              "Check the address and its port: the server may expect https there, or may not be a "
              "web server."};
    case CONNECTION_ERROR_MEMORY:
      return {ErrorKind::kMemory, std::move(text), kMemoryHint};
    case CONNECTION_ERROR_ABORTED:
      return {ErrorKind::kCancelled, std::move(text), ""};
    default:
      return {ErrorKind::kConnection, std::move(text), kTryAgain};
  }
}

Why whyRefused(int status, const std::string& about, std::string text) {
  const bool isEssential = isOfEveryLibrary(about);
  constexpr int kFirstOfServerErrors = 500;
  const char* const missing =
      "The library's list names a file that its server does not provide: report this to the "
      "publisher.";
  switch (status) {
    case 301:
    case 302:
    case 303:
    case 307:
    case 308:
      return {ErrorKind::kAnswer, text + ": the file has moved",
              isEssential ? "If the library has moved, use its new address. If this network has a "
                            "log-in page, log in there first."
                          : missing};
    case 401:
      return {ErrorKind::kAnswer, text + ": it requires credentials",
              "Set the credentials that the library's publisher gave you: a token in a request "
              "field, or a query."};
    case 403:
      return {
          ErrorKind::kAnswer, text + ": it denies access",
          isEssential ? "Check the address, or ask the library's publisher for access." : missing};
    case 404:
    case 410:
      return {ErrorKind::kAnswer, text + ": there is no such file",
              isEssential
                  ? "Check the address: a library has the files id.txt and filelist.json there."
                  : missing};
    case kProxyAuthenticationRequired:
      return {ErrorKind::kProxy,
              text + ": " + mtlupdate::connectionCauseText(Cause::kProxyPassword),
              proxyHint(Cause::kProxyPassword)};
    case 429:
      return {ErrorKind::kAnswer, text + ": too many requests", "Try again later."};
    default:
      break;
  }
  if (status < kFirstOfServerErrors) return {ErrorKind::kAnswer, std::move(text), ""};
  return {ErrorKind::kAnswer, std::move(text), "The server has a problem: try again later."};
}

Why whyNotWritten(int code, const Subject& subject, std::string text) {
  const char* const again = " Then try again: what has been downloaded is kept.";
  switch (code) {
    case ERROR_TOO_MANY_OPEN_FILES:
      return {ErrorKind::kDisk, std::move(text),
              std::string("Close other programs, or allow more open files.") + again};
    case ERROR_ACCESS_DENIED:
      return {ErrorKind::kPermission, std::move(text),
              "Check that you have permission to write to \"" + subject.folder + "\"." + again};
    case ERROR_WRITE_PROTECT:
      return {ErrorKind::kPermission, std::move(text),
              "The disk is read-only: choose a folder on another disk."};
    case ERROR_NOT_ENOUGH_MEMORY:
      return {ErrorKind::kMemory, std::move(text), kMemoryHint};
    case kSharingViolation:
    case kLockViolation:
    case kMappedFile:
      return {ErrorKind::kDisk, std::move(text),
              std::string("Close the program that is using it.") + again};
    case kHandleDiskFull:
    case ERROR_DISK_FULL:
    case kDiskQuotaExceeded:
      return {ErrorKind::kDisk, std::move(text),
              std::string("Free some space on the disk.") + again};
    case ERROR_FILENAME_EXCED_RANGE:
      return {ErrorKind::kDisk, std::move(text), "Choose a folder with a shorter name."};
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
    case ERROR_CANT_RESOLVE_FILENAME:
      return {ErrorKind::kDisk, std::move(text),
              std::string("Move away what is there, or choose another folder.") + again};
    default:
      return {ErrorKind::kDisk, std::move(text), std::string("Fix the problem.") + again};
  }
}

void explain(Error& error, const std::string& what, const Why& why, std::string about) {
  const char* between = what.empty() || why.text.empty() ? "" : ": ";
  // The text on a file continues the sentence that its name begins.
  const bool isFile = !what.empty() && what.back() == '"';
  if (isFile && (begins(why.text, "is ") || begins(why.text, "cannot "))) between = " ";
  error.kind = why.kind;
  error.about = std::move(about);
  error.sentence = asSentence(what + between + why.text);
  error.hint = mtlrules::printableLine(why.hint);
}

Error explainedError(const mtlupdate::Failure& failure, const Subject& subject) {
  const bool isCancelled = failure.kind == FailureKind::kCancelled;
  Error error = ownError(isCancelled ? "cancelled" : textOf(failure));
  error.connectionReason = failure.connectionReason;
  error.httpStatus = failure.httpStatus;
  const Why why = whyOf(failure, subject);
  std::string about = failure.about;
  const bool isOfProxy = why.kind == ErrorKind::kProxy && failure.cause != Cause::kProxySetting;
  if (isOfProxy && !subject.proxy.empty()) about = subject.proxy;
  if (why.kind == ErrorKind::kBusy) about = subject.folder;
  if (failure.cause == Cause::kNoAuthorities && !subject.caFile.empty()) about = subject.caFile;
  if (about.empty() && why.kind == ErrorKind::kDisk) about = subject.folder;
  if (about.empty()) about = mtlrules::withoutUserName(subject.address);
  const std::string what = whatFailed(failure, why, subject);
  explain(error, what, why, std::move(about));
  return error;
}

Error limitError() {
  Error error = ownError("more was received than the settings allow");
  explain(error, "", {ErrorKind::kLimit, error.message, kLimitHint}, "");
  return error;
}

void completeAbout(Errors& chain, const std::string& address) {
  if (chain.empty() || !chain.front().about.empty()) return;
  chain.front().about =
      mtlrules::withoutUserName(address.empty() ? mtlrules::defaultAddress() : address);
}

Errors explained(Errors chain, ErrorKind kind, std::string about, std::string hint) {
  std::string text;
  for (const Error& error : chain)
    text += (text.empty() ? "" : ": ") + error.message;
  explain(chain.front(), "", {kind, std::move(text), std::move(hint)}, std::move(about));
  return chain;
}

}  // namespace mtlhost
