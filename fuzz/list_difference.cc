// Fuzz target: a difference between lists, packed or not: whatever arrives, the steps that are read
// fit the two lists that the head announces, and what is read as a whole is written as it came.
#include "update/list_difference.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host.h"
#include "update/gzip.h"

namespace {

/// Follows the steps without a list.
class Follower : public mtlupdate::DifferenceReader::Handler {
 public:
  mtlupdate::Outcome beginLists(const mtlupdate::DifferenceHead& head) override {
    require(!hasBegun_);
    hasBegun_ = true;
    oldLeft_ = head.from.size;
    newLeft_ = head.to.size;
    return {};
  }
  mtlupdate::Outcome copy(std::uint64_t size) override {
    make(size);
    return leaveOut(size);
  }
  mtlupdate::Outcome leaveOut(std::uint64_t size) override {
    require(hasBegun_ && size > 0 && size <= oldLeft_);
    oldLeft_ -= size;
    return {};
  }
  mtlupdate::Outcome insert(std::string_view bytes) override {
    make(bytes.size());
    return {};
  }

  bool isComplete() const { return hasBegun_ && newLeft_ == 0; }

 private:
  void make(std::uint64_t size) {
    require(hasBegun_ && size > 0 && size <= newLeft_);
    newLeft_ -= size;
  }

  bool hasBegun_ = false;
  std::uint64_t oldLeft_ = 0;
  std::uint64_t newLeft_ = 0;
};

bool isRead(std::string_view text, std::size_t piece) {
  Follower follower;
  mtlupdate::DifferenceReader reader(follower);
  for (std::size_t i = 0; i < text.size(); i += piece) {
    if (reader.feed(text.substr(i, piece))) return false;
  }
  if (reader.finish()) return false;
  require(follower.isComplete());
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  constexpr std::size_t kMost = 1048576;
  const std::string_view text(reinterpret_cast<const char*>(bytes), size);
  const bool isOne = isRead(text, size + 1);
  require(isRead(text, 1) == isOne);
  const std::optional<mtlupdate::ListDifference> difference = mtlupdate::parseDifference(text);
  require(difference.has_value() == isOne);
  if (difference) {
    const std::string written = mtlupdate::differenceText(*difference);
    require(isRead(written, 7));
    const auto again = mtlupdate::parseDifference(written);
    require(again && mtlupdate::differenceText(*again) == written);
  }
  if (const std::optional<std::string> unpacked = mtlupdate::gunzipped(text, kMost)) {
    require(mtlupdate::gunzipped(mtlupdate::gzipped(*unpacked), kMost) == unpacked);
  }
  return 0;
}
