// Decides about releases. The record of a copy is the sequence of stamps that it has seen: they
// contain everything there is to remember, and their signatures show whether it is genuine.
#include "update/trust.h"

#include <algorithm>
#include <cstddef>
#include <system_error>
#include <utility>

#include "rules/own_names.h"
#include "rules/path.h"
#include "update/own_files.h"

namespace mtlupdate {

namespace {

using mtlsigning::Release;
using mtlsigning::utcText;

/// In seconds: clocks may differ by that.
constexpr std::int64_t kLeeway = 600;

Failure untrusted(std::string text) {
  return {Failure::Kind::kUntrusted, std::move(text)};
}

/// What may be the right thing a little later.
Failure laggard(std::string text) {
  Failure failure = untrusted(std::move(text));
  failure.isTransient = true;
  return failure;
}

Failure usage(std::string text) {
  return {Failure::Kind::kUsage, std::move(text)};
}

std::string nameOf(const Release& release) {
  std::string text = '"' + release.library + '"';
  if (!release.subPath.empty()) text += ", sub-path \"" + release.subPath + '"';
  return text;
}

std::string whenOf(const Release& release) {
  return "serial " + std::to_string(release.serial) + " of " + utcText(release.published);
}

/// The first four lines, which are taken off the text; all of it when it has fewer.
std::string_view takeStamp(std::string_view& text) {
  std::size_t end = 0;
  for (int line = 0; line < 4 && end != text.npos; ++line) {
    end = text.find('\n', end);
    if (end != text.npos) ++end;
  }
  const std::string_view stamp = text.substr(0, end);
  text.remove_prefix(stamp.size());
  return stamp;
}

/// The beginning of a file, which shows when it is too long for a stamp. What cannot be read is not
/// a signature, either.
std::string stampIn(Folder& folder, const std::string& path) {
  std::string stamp;
  Outcome tooLong;
  readPieces(
      folder, path,
      [&](std::string_view bytes) {
        stamp.append(bytes);
        return stamp.size() <= mtlsigning::kLargestSignature ? Outcome()
                                                             : Failure{Failure::Kind::kUntrusted};
      },
      tooLong);
  return stamp;
}

}  // namespace

Outcome Trust::readRecord(Folder& folder) {
  record_.clear();
  localStamp_.reset();
  if (options_.forgets) return {};
  Look look;
  if (const std::error_code error = folder.look(kTrustedFile, look)) {
    return diskFailure("cannot be examined", kTrustedFile, error);
  }
  const bool isThere = look.kind != FileKind::kNone;
  if (!hasKeys()) {
    if (!isThere) return {};
    return because(
        Failure::Cause::kKeysMissing,
        usage("this copy was updated with keys: without them, updates would not be checked"));
  }
  if (isThere) {
    std::string bytes;
    if (const std::error_code error = readOwnFile(folder, kTrustedFile, bytes)) {
      return diskFailure("cannot be read", kTrustedFile, error);
    }
    takeRecord(bytes);
  }
  if (seen() == nullptr) {
    std::string stamp = stampIn(folder, mtlrules::plainPath(mtlrules::stampName(subPath_)));
    std::string problem;
    auto local = mtlsigning::signedReleaseFrom(stamp, options_.keys, problem);
    if (local && local->release.subPath == subPath_) {
      localStamp_ = Seen{std::move(stamp), std::move(local->release)};
    }
  }
  const std::string library = seenLibrary();
  if (library.empty() || options_.library.empty() || library == options_.library) return {};
  return because(Failure::Cause::kOtherLibrary, usage("this is a copy of the library \"" + library +
                                                      "\", not of \"" + options_.library + '"'));
}

/// What is damaged does not count.
void Trust::takeRecord(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::string_view stamp = takeStamp(bytes);
    std::string problem;
    const auto signature = mtlsigning::signatureFrom(stamp, problem);
    if (!signature) continue;
    // The key may be one that the host has given up since.
    const mtlsigning::PublicKey* const key = mtlsigning::findKey(options_.keys, signature->keyId);
    if (key != nullptr && !mtlsigning::isCommentSigned(*signature, *key)) continue;
    if (auto release = mtlsigning::releaseFrom(signature->comment)) {
      record_.push_back({std::string(stamp), *std::move(release)});
    }
  }
}

const Trust::Seen* Trust::seen() const {
  const auto found = std::find_if(record_.begin(), record_.end(), [this](const Seen& seen) {
    return seen.release.subPath == subPath_;
  });
  if (found != record_.end()) return &*found;
  return localStamp_ ? &*localStamp_ : nullptr;
}

Outcome Trust::check(std::string_view stamp, std::int64_t now, std::string& warning) {
  warning.clear();
  if (Outcome failure = checkSignature(stamp)) return failure;
  if (Outcome failure = checkSerial(stamp)) return failure;
  Outcome failure = checkTime(now, warning);
  if (!failure) newest_ = Seen{std::string(stamp), release_.release};
  return failure;
}

Outcome Trust::checkSignature(std::string_view stamp) {
  std::string problem;
  auto release = mtlsigning::signedReleaseFrom(stamp, options_.keys, problem);
  if (!release) {
    if (!mtlsigning::looksSigned(stamp)) {
      problem += ": somebody has replaced it, or the library's publisher does not sign it";
    }
    return untrusted("it " + problem);
  }
  release_ = *std::move(release);
  return checkName(release_.release);
}

/// "" when a copy has seen none.
std::string Trust::seenLibrary() const {
  const Seen* const last = record_.empty() ? seen() : &record_.front();
  return last != nullptr ? last->release.library : "";
}

Outcome Trust::checkName(const Release& release) const {
  Release wanted;
  wanted.library = options_.library.empty() ? seenLibrary() : options_.library;
  if (wanted.library.empty()) wanted.library = release.library;
  wanted.subPath = subPath_;
  if (release.library == wanted.library && release.subPath == wanted.subPath) return {};
  return untrusted("it is the stamp of " + nameOf(release) + ", not of " + nameOf(wanted));
}

Outcome Trust::checkSerial(std::string_view stamp) const {
  if (const Seen* const last = seen()) {
    if (Outcome failure = compare(stamp, *last, "the one this copy has had")) return failure;
  }
  return newest_ ? compare(stamp, *newest_, "the one this run has seen") : Outcome();
}

Outcome Trust::compare(std::string_view stamp, const Seen& last, const char* who) const {
  const Release& release = release_.release;
  if (last.stamp == stamp || release.serial > last.release.serial) return {};
  if (release.serial < last.release.serial) {
    return because(Failure::Cause::kOlderRelease,
                   laggard("it is from an older release, " + whenOf(release) + ", than " + who +
                           ", " + whenOf(last.release) +
                           ": either a mirror lags behind, and a later try will work, or somebody "
                           "has put an old release back"));
  }
  return untrusted("it is from the same release, " + whenOf(release) + ", as " + who +
                   ", but differs: the publisher has signed two stamps with one serial");
}

Outcome Trust::checkTime(std::int64_t now, std::string& warning) const {
  const Release& release = release_.release;
  std::string text;
  if (now + kLeeway < release.published) {
    text = "this computer's clock is wrong: it says " + utcText(std::max<std::int64_t>(now, 0)) +
           ", and the library was published at " + utcText(release.published);
    if (release.expires) text += "; whether it has expired is not known";
  } else if (release.expires && *release.expires <= now) {
    text = "it expired at " + utcText(*release.expires) +
           ": its publisher has not renewed it, or somebody is withholding newer releases";
  }
  if (!text.empty() && release.expires && !options_.allowsExpired) {
    const bool hasExpired = *release.expires <= now;
    return because(hasExpired ? Failure::Cause::kExpired : Failure::Cause::kUnknown,
                   untrusted(text));
  }
  warning = std::move(text);
  return {};
}

Outcome Trust::checkKeptList(Folder& folder) const {
  if (!hasKeys()) return {};
  const std::string stampPath = mtlrules::plainPath(mtlrules::stampName(subPath_));
  std::vector<ListCheck> checks;
  std::string problem;
  Outcome failure;
  for (const std::string& path : {std::string(kNewStampFile), stampPath}) {
    const auto release =
        mtlsigning::signedReleaseFrom(stampIn(folder, path), options_.keys, problem);
    failure = release ? checkName(release->release) : untrusted("it " + problem);
    if (!failure) checks.emplace_back(*release);
  }
  if (checks.empty()) {
    failure->about = stampPath;
    return failure;
  }
  const std::error_code error = readPieces(
      folder, kListFile,
      [&](std::string_view bytes) {
        for (ListCheck& check : checks)
          check.update(bytes);
        return Outcome();
      },
      failure);
  if (error) return diskFailure("cannot be read", kListFile, error);
  for (ListCheck& check : checks) {
    failure = check.finish();
    if (!failure) return {};
  }
  failure->about = kListFile;
  return failure;
}

bool Trust::isRecorded(std::string_view stamp) const {
  return std::any_of(record_.begin(), record_.end(), [&](const Seen& seen) {
    return seen.release.subPath == subPath_ && seen.stamp == stamp;
  });
}

std::string Trust::recordWith(std::string_view stamp) const {
  std::string record(stamp);
  for (const Seen& seen : record_)
    if (seen.release.subPath != subPath_) record += seen.stamp;
  return record;
}

Outcome ListCheck::update(std::string_view bytes) {
  isTooLong_ = isTooLong_ || bytes.size() > bytesLeft_;
  if (isTooLong_) {
    return laggard(
        "it is longer than the list that was signed: it was changed, or belongs to a different "
        "release than the stamp");
  }
  bytesLeft_ -= bytes.size();
  check_.update(bytes);
  return {};
}

Outcome ListCheck::finish() {
  if (!isTooLong_ && bytesLeft_ == 0 && check_.finish()) return {};
  return laggard(
      "it is not the list that was signed: it was changed, or belongs to a different release than "
      "the stamp");
}

Outcome checkEntries(const Listing& listing) {
  for (const Entry& entry : listing) {
    if (entry.size && entry.sha256) continue;
    const char* const what = entry.sha256 ? "size" : "digest";
    return untrusted("\"" + std::string(entry.path) + "\" has no " + what +
                     ", so it cannot be checked against what was signed");
  }
  return {};
}

LocalStamp lookAtStamp(Folder& folder, const TrustOptions& options, const std::string& subPath) {
  LocalStamp local;
  Look look;
  local.needsKeys = folder.look(kTrustedFile, look) || look.kind != FileKind::kNone;
  const std::string stamp = stampIn(folder, mtlrules::plainPath(mtlrules::stampName(subPath)));
  local.looksSigned = mtlsigning::looksSigned(stamp);
  Trust trust(options, subPath);
  if (!trust.hasKeys()) return local;
  local.failure = trust.readRecord(folder);
  if (!local.failure) local.failure = trust.checkSignature(stamp);
  if (!local.failure) local.release = trust.release();
  return local;
}

Outcome forgetTrust(Folder& folder) {
  for (const char* path : {kTrustedFile, kNewTrustedFile, kMirrorsFile}) {
    if (const std::error_code error = folder.removeFile(path)) {
      return diskFailure("cannot be removed", path, error);
    }
  }
  return {};
}

}  // namespace mtlupdate
