// Stamp and list are bodies like those of files, each fetched alone.
#include "update/release.h"

#include <memory>
#include <optional>
#include <utility>

#include "update/list_reader.h"

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
  StampBody(const Document& document, std::string& stamp)
      : DocumentBody(document, kLargestStamp), stamp_(stamp) {}

  Outcome finish() override {
    if (!stamp_.empty()) return {};
    return Failure{Failure::Kind::kContent, "the library's stamp is empty"};
  }

 private:
  Outcome beginAnew() override {
    stamp_.clear();
    return {};
  }
  Outcome take(std::string_view bytes) override {
    stamp_.append(bytes);
    return {};
  }

  std::string& stamp_;
};

class ListBody : public DocumentBody {
 public:
  ListBody(const Document& document, const ListKeeper& keep, Listing& listing)
      : DocumentBody(document, kLargestList), keep_(keep), listing_(listing) {}

  Outcome finish() override { return reader_->finish(); }

 private:
  Outcome beginAnew() override {
    listing_ = Listing();
    reader_.emplace(listing_);
    return keep_ ? keep_(true, {}) : Outcome();
  }
  Outcome take(std::string_view bytes) override {
    if (Outcome failure = reader_->feed(bytes)) return failure;
    return keep_ ? keep_(false, bytes) : Outcome();
  }

  const ListKeeper& keep_;
  Listing& listing_;
  std::optional<ListReader> reader_;
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
                   std::string& stamp) {
  Alone alone(std::make_unique<StampBody>(document, stamp), company);
  return transfers.run(alone);
}

Outcome fetchList(Transfers& transfers, const Document& document, const Company& company,
                  const ListKeeper& keep, Listing& listing) {
  Alone alone(std::make_unique<ListBody>(document, keep, listing), company);
  return transfers.run(alone);
}

}  // namespace mtlupdate
