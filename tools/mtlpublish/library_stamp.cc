// Makes stamps. The comment of the last release is kept in a file beside the list that is written
// before list and stamp, so that no serial is used twice, whatever else is lost.
#include "mtlpublish/library_stamp.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

#include "mtlpublish/tree_scan.h"
#include "mtlpublish/whole_file.h"
#include "rules/list_entry.h"
#include "rules/own_names.h"
#include "rules/printable.h"

namespace mtlpublish {

namespace {

namespace fs = std::filesystem;
using mtlsigning::Release;
using Way = SigningOptions::Way;

std::int64_t secondsOf(std::chrono::system_clock::time_point time) {
  return std::chrono::duration_cast<std::chrono::seconds>(time.time_since_epoch()).count();
}

/// Of a stamp that the key signed; without a key, of any. The stamp may come from a server.
std::optional<Release> releaseOf(const std::string& stamp,
                                 const std::optional<mtlsigning::SecretKey>& key) {
  std::string problem;
  const auto signature = mtlsigning::signatureFrom(stamp, problem);
  const bool counts =
      signature && (!key || mtlsigning::isCommentSigned(*signature, key->publicKey()));
  return counts ? mtlsigning::releaseFrom(signature->comment) : std::nullopt;
}

}  // namespace

LibrarySigner::LibrarySigner(const fs::path& root, const SigningOptions& options)
    : root_(root), options_(options) {
  constexpr std::size_t kLimit = mtlsigning::kLargestSignature + 1;
  stamp_ = contentOf(root_ / mtlrules::kStampName, kLimit);
  std::string record = contentOf(root_ / kSignedName, kLimit);
  if (record.empty()) {
    last_ = releaseOf(stamp_, options_.key);
    return;
  }
  if (record.back() == '\n') record.pop_back();
  last_ = mtlsigning::releaseFrom(record);
  isRecordDamaged_ = !last_;
}

std::string LibrarySigner::libraryName() const {
  return options_.library.empty() && last_ ? last_->library : options_.library;
}

std::string LibrarySigner::subPath() const {
  return options_.subPath.value_or(last_ ? last_->subPath : std::string());
}

bool LibrarySigner::wasSigned() const {
  return last_ || isRecordDamaged_ || mtlsigning::looksSigned(stamp_);
}

bool LibrarySigner::isNeeded() const {
  return options_.way == Way::kKey || options_.way == Way::kElsewhere;
}

std::string LibrarySigner::problem() const {
  if (options_.way == Way::kNone) return {};
  if (options_.way == Way::kUnsaid) {
    return wasSigned() ? "the library was signed before, and clients may refuse it without: give "
                         "--sign KEYFILE, --prepare or --no-sign"
                       : "";
  }
  if (isRecordDamaged_) {
    return std::string(kSignedName) +
           ": does not say what was signed last; remove it, and give --name";
  }
  if (libraryName().empty()) return "the library needs a name to be signed: give --name NAME";
  if (last_ && last_->serial >= mtlsigning::kLargestSerial) {
    return std::string(kSignedName) + ": there is no serial above the last one";
  }
  return {};
}

std::string LibrarySigner::clockWarning(std::chrono::system_clock::time_point now) const {
  if (!isNeeded() || !last_ || secondsOf(now) >= last_->published) return {};
  return "the clock says " + mtlsigning::utcText(secondsOf(now)) + ", but the last release is of " +
         mtlsigning::utcText(last_->published);
}

// One without an expiry lasts, and one that is nearer to its end than to its beginning is made
// again, so that a build now and then keeps a library that does not change alive.
bool LibrarySigner::isStillGood(const Release& release, std::int64_t now) const {
  if (release.library != libraryName() || release.subPath != subPath() ||
      release.expires.has_value() != options_.life.has_value()) {
    return false;
  }
  if (!release.expires) return true;
  const std::int64_t life = options_.life->count();
  const std::int64_t left = *release.expires - now;
  return left >= life / 2 && left <= life;
}

std::optional<Release> LibrarySigner::keptRelease(const std::string& list,
                                                  const mtlrules::ListNote& note,
                                                  std::int64_t now) const {
  if (options_.way == Way::kElsewhere) {
    const bool isSame = last_ && last_->list == note && isStillGood(*last_, now) &&
                        contentOf(root_ / mtlrules::kListName, list.size() + 1) == list;
    return isSame ? last_ : std::nullopt;
  }
  std::string problem;
  const auto signature = mtlsigning::signatureFrom(stamp_, problem);
  if (!signature) return std::nullopt;
  const mtlsigning::PublicKey key = options_.key->publicKey();
  const std::optional<Release> release = mtlsigning::releaseFrom(signature->comment);
  // An older one that was put back has an older serial, too.
  const bool isSame = release && release == last_ && isStillGood(*release, now) &&
                      release->list == note && mtlsigning::isCommentSigned(*signature, key) &&
                      mtlsigning::isContentSigned(*signature, key, list);
  return isSame ? release : std::nullopt;
}

SignedStamp LibrarySigner::sign(const std::string& list, const mtlrules::ListNote& note,
                                std::chrono::system_clock::time_point time) const {
  const std::int64_t now = secondsOf(time);
  const bool isElsewhere = options_.way == Way::kElsewhere;
  if (auto kept = keptRelease(list, note, now)) {
    return {*std::move(kept), isElsewhere ? std::string() : stamp_, false};
  }
  Release release;
  release.library = libraryName();
  release.subPath = subPath();
  release.serial = std::max(static_cast<std::uint64_t>(now), last_ ? last_->serial + 1 : 0);
  release.published = now;
  if (options_.life) release.expires = now + options_.life->count();
  release.list = note;
  std::string text;
  if (!isElsewhere) {
    text = mtlsigning::signatureFile(options_.key->sign(list, mtlsigning::commentText(release)));
  }
  return {std::move(release), std::move(text), true};
}

}  // namespace mtlpublish
