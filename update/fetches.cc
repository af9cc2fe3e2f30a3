// Bodies go to the disk as they arrive, and their digest is known with their last byte.
#include "update/fetches.h"

#include <utility>

namespace mtlupdate {

class Fetches::StagedBody : public Body {
 public:
  StagedBody(std::string target, Staging& staging, Fetch& fetch,
             std::optional<std::uint64_t> largestFile)
      : Body(std::move(target)), staging_(staging), fetch_(fetch), largestFile_(largestFile) {}

  Fetch& fetch() { return fetch_; }
  Outcome openPart() {
    isOpen_ = true;
    return staging_.open(*fetch_.entry, false, file_);
  }

  std::optional<std::uint64_t> size() const override { return fetch_.entry->size; }
  std::optional<std::uint64_t> largestSize() const override { return largestFile_; }
  std::uint64_t part() const override { return isOpen_ ? file_.size() : 0; }
  bool isChecked() const override { return fetch_.entry->sha256.has_value(); }

  std::string validator() const override {
    return fetch_.hasPart && !isChecked() ? staging_.validator(*fetch_.entry) : std::string();
  }

  Outcome begin(bool anew, const std::string& validator) override {
    if (!anew) return {};
    Outcome failure = isOpen_ ? file_.restart() : staging_.open(*fetch_.entry, true, file_);
    isOpen_ = !failure;
    const std::uint64_t expected = size().value_or(kWorthARange + 1);
    if (failure || isChecked() || validator.empty() || expected <= kWorthARange) return failure;
    return staging_.keepValidator(*fetch_.entry, validator);
  }
  Outcome append(std::string_view bytes) override { return file_.append(bytes); }

  Outcome finish() override {
    isOpen_ = false;
    Staging::Found& staged = fetch_.staged;
    staged.size = file_.size();
    if (Outcome failure = file_.finish(staged.digest, staged.identity)) return failure;
    if (!fetch_.entry->sha256 || staged.digest == *fetch_.entry->sha256) {
      staged.state = Staging::Found::State::kWhole;
      return {};
    }
    staged = {};
    if (Outcome failure = staging_.discard(*fetch_.entry)) return failure;
    return Failure{Failure::Kind::kContent,
                   "its content does not have the SHA-256 that the library's list announces"};
  }

 private:
  Staging& staging_;
  Fetch& fetch_;
  std::optional<std::uint64_t> largestFile_;
  StagedFile file_;
  bool isOpen_ = false;
};

Fetches::Fetches(const Session& session, Staging& staging, std::vector<Fetch>& fetches,
                 std::optional<std::uint64_t> largestFile, const Company& company,
                 std::function<void(const Fetch&)> onFetched)
    : session_(session),
      staging_(staging),
      fetches_(fetches),
      largestFile_(largestFile),
      company_(company),
      onFetched_(std::move(onFetched)) {}

Fetches::~Fetches() = default;

std::unique_ptr<Fetches::StagedBody> Fetches::bodyOf(Fetch& fetch) {
  return std::make_unique<StagedBody>(session_.fileTarget(fetch.entry->remotePath), staging_, fetch,
                                      largestFile_);
}

Outcome Fetches::openParts() {
  for (Fetch& fetch : fetches_) {
    if (!fetch.hasPart) continue;
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
  while (next_ < fetches_.size()) {
    Fetch& fetch = fetches_[next_++];
    if (!fetch.hasPart) return bodyOf(fetch);
  }
  return nullptr;
}

void Fetches::done(Body& body) {
  onFetched_(static_cast<StagedBody&>(body).fetch());
}

void Fetches::again(const Failure& failure, std::chrono::milliseconds wait) {
  if (company_.again) company_.again(failure, wait);
}

}  // namespace mtlupdate
