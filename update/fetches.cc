// Writes bodies to the disk as they arrive, and digests those that have a digest in the list.
#include "update/fetches.h"

#include <utility>

namespace mtlupdate {

class Fetches::StagedBody : public Body {
 public:
  StagedBody(Staging& staging, const Entry& entry, Staging::Found& staged,
             std::optional<std::uint64_t> largestFile, std::optional<std::size_t> uncheckedFrom)
      : staging_(staging),
        entry_(entry),
        staged_(staged),
        largestFile_(largestFile),
        uncheckedFrom_(uncheckedFrom),
        hasPart_(staged.state == State::kPart) {}

  const Entry& entry() const { return entry_; }
  Outcome openPart() {
    isOpen_ = true;
    return staging_.open(entry_, false, file_);
  }

  std::string target(const Session& session) const override {
    return session.fileTarget(entry_.remotePath);
  }
  bool mayComeFrom(std::size_t mirror) const override {
    return isChecked() || !uncheckedFrom_ || *uncheckedFrom_ == mirror;
  }
  std::optional<std::uint64_t> size() const override { return entry_.size; }
  std::optional<std::uint64_t> largestSize() const override { return largestFile_; }
  std::uint64_t part() const override { return isOpen_ ? file_.size() : 0; }
  bool isChecked() const override { return entry_.sha256.has_value(); }

  std::string validator() const override {
    return hasPart_ && !isChecked() ? staging_.validator(entry_) : std::string();
  }

  Outcome begin(bool anew, const std::string& validator) override {
    if (!anew) return {};
    Outcome failure = isOpen_ ? file_.restart() : staging_.open(entry_, true, file_);
    isOpen_ = !failure;
    const std::uint64_t expected = size().value_or(kWorthARange + 1);
    if (failure || isChecked() || validator.empty() || expected <= kWorthARange) return failure;
    return staging_.keepValidator(entry_, validator);
  }
  Outcome append(std::string_view bytes) override { return file_.append(bytes); }
  void check(std::string_view bytes) override { file_.digest(bytes); }

  Outcome finish() override {
    isOpen_ = false;
    Staging::Found found{State::kWhole, file_.size(), {}, {}};
    if (Outcome failure = file_.finish(found.digest, found.identity)) return failure;
    if (found.digest == entry_.sha256) {
      staged_ = found;
      return {};
    }
    staged_ = {};
    if (Outcome failure = staging_.discard(entry_)) return failure;
    return Failure{Failure::Kind::kContent,
                   "its content does not have the SHA-256 that the library's list announces"};
  }

 private:
  using State = Staging::Found::State;

  Staging& staging_;
  const Entry& entry_;
  Staging::Found& staged_;
  std::optional<std::uint64_t> largestFile_;
  std::optional<std::size_t> uncheckedFrom_;
  bool hasPart_;  ///< From an earlier run.
  StagedFile file_;
  bool isOpen_ = false;
};

Fetches::Fetches(Staging& staging, const std::vector<Plan::Fetch>& fetches, StagedContents& staged,
                 std::optional<std::uint64_t> largestFile, const FetchCallbacks& callbacks,
                 std::function<void(const Entry&, std::size_t)> onFetched)
    : staging_(staging),
      fetches_(fetches),
      staged_(staged),
      largestFile_(largestFile),
      callbacks_(callbacks),
      onFetched_(std::move(onFetched)) {
  for (const Plan::Fetch& fetch : fetches_) {
    if (staged_[fetch.content].state == Staging::Found::State::kNothing) others_.push_back(&fetch);
  }
}

Fetches::~Fetches() = default;

std::unique_ptr<Fetches::StagedBody> Fetches::bodyOf(const Plan::Fetch& fetch) {
  return std::make_unique<StagedBody>(staging_, *fetch.entry, staged_[fetch.content], largestFile_,
                                      uncheckedFrom_);
}

Outcome Fetches::openParts() {
  for (const Plan::Fetch& fetch : fetches_) {
    if (staged_[fetch.content].state != Staging::Found::State::kPart) continue;
    parts_.push_back(bodyOf(fetch));
    if (Outcome failure = parts_.back()->openPart()) return failure;
  }
  return {};
}

std::unique_ptr<Body> Fetches::next() {
  if (!parts_.empty()) {
    std::unique_ptr<Body> part = std::move(parts_.back());
    parts_.pop_back();
    return part;
  }
  return next_ < others_.size() ? bodyOf(*others_[next_++]) : nullptr;
}

void Fetches::done(Body& body, std::size_t mirror) {
  onFetched_(static_cast<StagedBody&>(body).entry(), mirror);
}

void Fetches::onRetry(const Failure& failure, std::chrono::milliseconds wait) {
  if (callbacks_.onRetry) callbacks_.onRetry(failure, wait);
}

void Fetches::onNextAddress(const Failure& failure, const std::string& address) {
  if (callbacks_.onNextAddress) callbacks_.onNextAddress(failure, address);
}

}  // namespace mtlupdate
