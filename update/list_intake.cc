// Checks the text before it is used: whether a list can be read matters only if it is the right
// list.
#include "update/list_intake.h"

#include <cstddef>
#include <utility>

namespace mtlupdate {

namespace {

Failure otherList() {
  return {Failure::Kind::kContent, "it is not the list that the library's stamp is of"};
}

}  // namespace

ListIntake::ListIntake(ListProof proof, ListKeeper keep, Listing& listing)
    : proof_(std::move(proof)), keep_(std::move(keep)), listing_(listing) {}

Outcome ListIntake::begin() {
  listing_ = Listing();
  reader_.emplace(listing_);
  problem_.reset();
  stampCheck_.reset();
  start_.clear();
  if (proof_.release != nullptr) {
    signatureCheck_.emplace(*proof_.release);
  } else if (proof_.note) {
    stampCheck_.emplace(StampCheck{Sha256(), proof_.note->size});
  }
  return keep_ ? keep_(true, {}) : Outcome();
}

Outcome ListIntake::check(std::string_view bytes) {
  if (signatureCheck_) return signatureCheck_->update(bytes);
  if (!stampCheck_) return {};
  if (bytes.size() > stampCheck_->bytesLeft) return otherList();
  stampCheck_->bytesLeft -= bytes.size();
  stampCheck_->sha256.update(bytes);
  return {};
}

Outcome ListIntake::checkEnd() {
  if (signatureCheck_) return signatureCheck_->finish();
  if (!stampCheck_) return {};
  return hexText(stampCheck_->sha256.finish()) == proof_.note->sha256 ? Outcome() : otherList();
}

// A network that asks its users to log in answers with a page, whatever was asked for.
Outcome ListIntake::withCause(Outcome failure) const {
  const bool isPage = failure && failure->kind == Failure::Kind::kContent && start_ == "<";
  if (isPage) failure->cause = Failure::Cause::kWebPage;
  return failure;
}

Outcome ListIntake::take(std::string_view bytes) {
  const std::size_t begin = bytes.find_first_not_of(" \t\r\n");
  if (start_.empty() && begin != bytes.npos) start_ = bytes.substr(begin, 1);
  return withCause(takeChecked(bytes));
}

Outcome ListIntake::finish() {
  return withCause(finishChecked());
}

Outcome ListIntake::takeChecked(std::string_view bytes) {
  if (Outcome failure = check(bytes)) return failure;
  if (!problem_) problem_ = reader_->feed(bytes);
  // Whose list it is that cannot be read, its end shows.
  if (problem_ && !signatureCheck_ && !stampCheck_) return problem_;
  return keep_ ? keep_(false, bytes) : Outcome();
}

Outcome ListIntake::finishChecked() {
  if (Outcome failure = checkEnd()) return failure;
  if (!problem_) problem_ = reader_->finish();
  if (problem_ || proof_.release == nullptr) return problem_;
  return checkEntries(listing_);
}

}  // namespace mtlupdate
