// Stamp and list are bodies like those of files, each fetched alone.
#include "update/release.h"

#include <memory>
#include <optional>
#include <utility>

#include "update/list_reader.h"
#include "update/trust.h"

namespace mtlupdate {

namespace {

class DocumentBody : public Body {
 public:
  DocumentBody(const Document& document, std::uint64_t largestSize)
      : Body(document.target), isPastCaches_(document.pastCaches), largestSize_(largestSize) {}

  bool isPastCaches() const override { return isPastCaches_; }
  std::optional<std::uint64_t> largestSize() const override { return largestSize_; }
  std::uint64_t part() const override { return part_; }

  Outcome begin(bool anew, const std::string& /*validator*/) override {
    if (!anew) return {};
    part_ = 0;
    return beginAnew();
  }
  Outcome append(std::string_view bytes) override {
    part_ += bytes.size();
    return take(bytes);
  }

 protected:
  virtual Outcome beginAnew() = 0;
  virtual Outcome take(std::string_view bytes) = 0;

 private:
  bool isPastCaches_;
  std::uint64_t largestSize_;
  std::uint64_t part_ = 0;
};

class StampBody : public DocumentBody {
 public:
  StampBody(const Document& document, bool isSigned, std::string& stamp)
      : DocumentBody(document, kLargestStamp), isSigned_(isSigned), stamp_(stamp) {}

  /// What is too long for a signature is not a matter of limits.
  std::optional<std::uint64_t> largestSize() const override {
    return isSigned_ ? std::nullopt : DocumentBody::largestSize();
  }

  Outcome finish() override {
    if (!stamp_.empty() || isSigned_) return {};
    return Failure{Failure::Kind::kContent, "the library's stamp is empty"};
  }

 private:
  Outcome beginAnew() override {
    stamp_.clear();
    return {};
  }
  Outcome take(std::string_view bytes) override {
    if (isSigned_ && bytes.size() > mtlsigning::kLargestSignature - stamp_.size()) {
      return Failure{Failure::Kind::kUntrusted, "it is longer than a signature may be, 64 KiB"};
    }
    stamp_.append(bytes);
    return {};
  }

  bool isSigned_;
  std::string& stamp_;
};

class ListBody : public DocumentBody {
 public:
  ListBody(const Document& document, const ListKeeper& keep,
           const mtlsigning::SignedRelease* release, Listing& listing)
      : DocumentBody(document, kLargestList), keep_(keep), release_(release), listing_(listing) {}

  Outcome finish() override {
    if (release_ != nullptr) {
      if (Outcome failure = check_->finish()) return failure;
    }
    if (!problem_) problem_ = reader_->finish();
    if (problem_ || release_ == nullptr) return problem_;
    return checkEntries(listing_);
  }

 private:
  Outcome beginAnew() override {
    listing_ = Listing();
    reader_.emplace(listing_);
    problem_.reset();
    if (release_ != nullptr) check_.emplace(*release_);
    return keep_ ? keep_(true, {}) : Outcome();
  }
  Outcome take(std::string_view bytes) override {
    if (release_ != nullptr) {
      if (Outcome failure = check_->update(bytes)) return failure;
    }
    if (!problem_) problem_ = reader_->feed(bytes);
    // Whose list it is that cannot be read, its end shows.
    if (problem_ && release_ == nullptr) return problem_;
    return keep_ ? keep_(false, bytes) : Outcome();
  }

  const ListKeeper& keep_;
  const mtlsigning::SignedRelease* release_;
  Listing& listing_;
  std::optional<ListReader> reader_;
  std::optional<ListCheck> check_;
  Outcome problem_;  ///< Of the reader.
};

/// The client of one body.
class Alone : public Transfers::Client {
 public:
  Alone(std::unique_ptr<Body> body, const Company& company)
      : body_(std::move(body)), company_(company) {}

  std::unique_ptr<Body> next() override { return std::move(body_); }
  void done(Body& /*body*/) override {}
  bool goOn() override { return company_.goOn(); }
  void again(const Failure& failure, std::chrono::milliseconds wait) override {
    if (company_.again) company_.again(failure, wait);
  }

 private:
  std::unique_ptr<Body> body_;
  const Company& company_;
};

}  // namespace

Outcome fetchStamp(Transfers& transfers, const Document& document, const Company& company,
                   bool isSigned, std::string& stamp) {
  Alone alone(std::make_unique<StampBody>(document, isSigned, stamp), company);
  return transfers.run(alone);
}

Outcome fetchList(Transfers& transfers, const Document& document, const Company& company,
                  const ListKeeper& keep, const mtlsigning::SignedRelease* release,
                  Listing& listing) {
  Alone alone(std::make_unique<ListBody>(document, keep, release, listing), company);
  return transfers.run(alone);
}

}  // namespace mtlupdate
