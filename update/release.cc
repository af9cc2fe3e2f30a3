// Fetches the stamp and the list as bodies like those of files, one at a time.
#include "update/release.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

#include "signing/signature.h"
#include "update/gzip.h"

namespace mtlupdate {

namespace {

class DocumentBody : public Body {
 public:
  DocumentBody(const Document& document, std::uint64_t largestSize)
      : document_(document), largestSize_(largestSize) {}

  std::string target(const Session& session) const override { return document_.target(session); }
  bool mayComeFrom(std::size_t mirror) const override {
    return !document_.mirror || *document_.mirror == mirror;
  }
  bool isAskedAsNamed() const override { return document_.isAskedAsNamed; }
  bool isPastCaches() const override { return document_.pastCaches; }
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
  const Document& document_;
  std::uint64_t largestSize_;
  std::uint64_t part_ = 0;
};

class StampBody : public DocumentBody {
 public:
  StampBody(const Document& document, const StampCheck& check, std::string& stamp)
      : DocumentBody(document, kLargestStamp), check_(check), stamp_(stamp) {}

  /// What is too long for a signature is not a matter of limits.
  std::optional<std::uint64_t> largestSize() const override {
    return check_ ? std::nullopt : DocumentBody::largestSize();
  }

  Outcome finish() override {
    if (check_) return check_(stamp_);
    if (!stamp_.empty()) return {};
    return Failure{Failure::Kind::kContent, "the library's stamp is empty"};
  }

 private:
  Outcome beginAnew() override {
    stamp_.clear();
    return {};
  }
  Outcome take(std::string_view bytes) override {
    if (check_ && bytes.size() > mtlsigning::kLargestSignature - stamp_.size()) {
      return Failure{Failure::Kind::kUntrusted, "it is longer than a signature may be, 64 KiB"};
    }
    stamp_.append(bytes);
    return {};
  }

  const StampCheck& check_;
  std::string& stamp_;
};

/// The list, in any of the forms in which it may come. One in place of which there is another form
/// is not asked for again when it was wrong: such a failure is kUntrusted here.
class ListBody : public DocumentBody {
 public:
  ListBody(const Document& document, std::uint64_t largestSize, bool isReplaceable,
           ListIntake& intake)
      : DocumentBody(document, largestSize), isReplaceable_(isReplaceable), intake_(intake) {}

  Outcome finish() override { return judged(finishList()); }

 protected:
  virtual Outcome finishList() { return intake_.finish(); }
  virtual Outcome beginList() { return intake_.begin(); }
  virtual Outcome takeList(std::string_view bytes) { return intake_.take(bytes); }

  ListIntake& intake() { return intake_; }

 private:
  Outcome beginAnew() override { return judged(beginList()); }
  Outcome take(std::string_view bytes) override { return judged(takeList(bytes)); }

  Outcome judged(Outcome failure) const {
    if (failure && isReplaceable_ && failure->kind == Failure::Kind::kContent) {
      failure->kind = Failure::Kind::kUntrusted;
      failure->isTransient = true;
    }
    return failure;
  }

  bool isReplaceable_;
  ListIntake& intake_;
};

/// How long another form of the list may be. Packing makes nothing much longer.
std::uint64_t largestFormOf(const ListIntake& intake) {
  constexpr std::uint64_t kRoom = 65536;
  return intake.proof().note->size + kRoom;
}

class CompressedListBody : public ListBody {
 public:
  CompressedListBody(const Document& document, ListIntake& intake)
      : ListBody(document, largestFormOf(intake), true, intake) {}

 private:
  Outcome beginList() override {
    gunzip_.emplace([this](std::string_view bytes) { return intake().take(bytes); });
    return intake().begin();
  }
  Outcome takeList(std::string_view bytes) override { return gunzip_->feed(bytes); }
  Outcome finishList() override {
    if (Outcome failure = gunzip_->finish()) return failure;
    return intake().finish();
  }

  std::optional<Gunzip> gunzip_;
};

/// Makes the list from the one that is kept.
class DifferenceBody : public ListBody, public DifferenceReader::Handler {
 public:
  DifferenceBody(const Document& document, const KeptList& old, ListIntake& intake)
      : ListBody(document, largestFormOf(intake), true, intake), old_(old) {}

 private:
  Outcome beginList() override {
    file_ = File();
    if (const std::error_code error = old_.folder.openToRead(old_.path, file_)) return lost();
    reader_.emplace(*this);
    gunzip_.emplace([this](std::string_view bytes) { return reader_->feed(bytes); });
    return intake().begin();
  }
  Outcome takeList(std::string_view bytes) override { return gunzip_->feed(bytes); }
  Outcome finishList() override {
    if (Outcome failure = gunzip_->finish()) return failure;
    if (Outcome failure = reader_->finish()) return failure;
    return intake().finish();
  }

  Outcome beginLists(const DifferenceHead& head) override {
    const mtlrules::ListNote& wanted = *intake().proof().note;
    const bool isRight = head.from == old_.identity && head.to.size == wanted.size &&
                         hexText(head.to.sha256) == wanted.sha256;
    if (isRight) return {};
    return Failure{Failure::Kind::kContent, "it is a difference between other lists"};
  }
  Outcome copy(std::uint64_t size) override {
    return readOld(size, [this](std::string_view bytes) { return intake().take(bytes); });
  }
  Outcome leaveOut(std::uint64_t size) override {
    return readOld(size, [](std::string_view /*bytes*/) { return Outcome(); });
  }
  Outcome insert(std::string_view bytes) override { return intake().take(bytes); }

  template <typename Take>
  Outcome readOld(std::uint64_t size, const Take& take) {
    std::array<char, 65536> room;
    while (size > 0) {
      const auto most = static_cast<std::size_t>(std::min<std::uint64_t>(size, room.size()));
      std::size_t count = 0;
      if (file_.read(room.data(), most, count) || count == 0) return lost();
      if (Outcome failure = take(std::string_view(room.data(), count))) return failure;
      size -= count;
    }
    return {};
  }

  static Failure lost() {
    return {Failure::Kind::kContent, "the list that it is a difference from cannot be read"};
  }

  const KeptList& old_;
  File file_;
  std::optional<DifferenceReader> reader_;
  std::optional<Gunzip> gunzip_;
};

/// The client of one body.
class SingleBody : public Transfers::Client {
 public:
  SingleBody(std::unique_ptr<Body> body, const FetchCallbacks& callbacks)
      : body_(std::move(body)), callbacks_(callbacks) {}

  std::unique_ptr<Body> next() override { return std::move(body_); }
  void done(Body& /*body*/, std::size_t mirror) override { mirror_ = mirror; }
  bool shouldContinue() override { return callbacks_.shouldContinue(); }
  void onRetry(const Failure& failure, std::chrono::milliseconds wait) override {
    if (callbacks_.onRetry) callbacks_.onRetry(failure, wait);
  }
  void onNextAddress(const Failure& failure, const std::string& address) override {
    if (callbacks_.onNextAddress) callbacks_.onNextAddress(failure, address);
  }

  /// Where the body came from.
  std::size_t mirror() const { return mirror_; }

 private:
  std::unique_ptr<Body> body_;
  const FetchCallbacks& callbacks_;
  std::size_t mirror_ = 0;
};

}  // namespace

Outcome fetchStamp(Transfers& transfers, const Document& document, const FetchCallbacks& callbacks,
                   const StampCheck& check, std::string& stamp, std::size_t& mirror) {
  SingleBody single(std::make_unique<StampBody>(document, check, stamp), callbacks);
  Outcome failure = transfers.run(single);
  mirror = single.mirror();
  return failure;
}

Outcome fetchList(Transfers& transfers, const Document& document, const FetchCallbacks& callbacks,
                  ListIntake& intake) {
  SingleBody single(std::make_unique<ListBody>(document, kLargestList, false, intake), callbacks);
  return transfers.run(single);
}

Outcome fetchCompressedList(Transfers& transfers, const Document& document,
                            const FetchCallbacks& callbacks, ListIntake& intake) {
  SingleBody single(std::make_unique<CompressedListBody>(document, intake), callbacks);
  return transfers.run(single);
}

Outcome fetchDifference(Transfers& transfers, const Document& document,
                        const FetchCallbacks& callbacks, const KeptList& old, ListIntake& intake) {
  SingleBody single(std::make_unique<DifferenceBody>(document, old, intake), callbacks);
  return transfers.run(single);
}

}  // namespace mtlupdate
