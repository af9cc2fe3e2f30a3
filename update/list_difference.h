// A list difference says how to make the text of a library's newest list from that of an older
// one. This file is the only place that knows its format:
//
//     mtllib list difference 1
//     builds 3
//     from 812 5f70...          length of the old list, and its SHA-256
//     to 930 c3ab...            the same of the new list
//     =400                      copy so many bytes of the old list
//     -12                       skip so many of its bytes
//     +130                      insert so many new bytes, which follow this line
//     {"download":...
//
// The steps, from "=" on, are repeated until the new list is complete, which is where the
// difference ends. Numbers are decimal, above 0 and without leading zeros; each line ends in LF.
#ifndef MTLLIB_UPDATE_LIST_DIFFERENCE_H_
#define MTLLIB_UPDATE_LIST_DIFFERENCE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "update/failure.h"
#include "update/sha256.h"

namespace mtlupdate {

/// Identifies a list.
struct ListIdentity {
  std::uint64_t size = 0;  ///< In bytes.
  Digest sha256{};

  bool operator==(const ListIdentity& other) const {
    return size == other.size && sha256 == other.sha256;
  }
};

struct DifferenceHead {
  /// How many times the library was built since the old list, at least 1.
  std::uint64_t builds = 1;
  ListIdentity from{};
  ListIdentity to{};
};

/// Reads a difference as it arrives, in memory that does not depend on what comes. All that was
/// copied, left out and inserted fits the head: the new list becomes no longer than that says, and
/// the old one is gone through once.
class DifferenceReader {
 public:
  /// Receives the steps, in the order of both lists. If it fails, reading ends with that failure.
  class Handler {
   public:
    virtual ~Handler() = default;
    virtual Outcome beginLists(const DifferenceHead& head) = 0;
    virtual Outcome copy(std::uint64_t size) = 0;
    virtual Outcome leaveOut(std::uint64_t size) = 0;
    virtual Outcome insert(std::string_view bytes) = 0;
  };

  /// The handler must live longer.
  explicit DifferenceReader(Handler& handler) : handler_(handler) {}

  /// Takes the next bytes. Fails as the handler does; with kContent when they are not those of a
  /// difference; and must not be called again then.
  Outcome feed(std::string_view bytes);

  /// The bytes have ended. kContent when that is too early.
  Outcome finish() const;

 private:
  Outcome takeLine();
  Outcome takeHead();
  Outcome takeStep();

  Handler& handler_;
  std::string line_{};
  int headLines_ = 0;  ///< That were read.
  DifferenceHead head_{};
  std::uint64_t oldLeft_ = 0;
  std::uint64_t newLeft_ = 0;
  std::uint64_t toInsert_ = 0;
};

/// A difference as a whole.
struct ListDifference {
  /// A piece of the new list: of the old one, or new.
  struct Piece {
    std::uint64_t offset = 0;  ///< In the old list, of `size` bytes; of none when there is a text.
    std::uint64_t size = 0;
    std::string text{};
  };
  DifferenceHead head{};
  std::vector<Piece> pieces{};  ///< In the order of both lists.
};

std::string differenceText(const ListDifference& difference);

/// None for a text that is not one of a difference.
std::optional<ListDifference> parseDifference(std::string_view text);

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_LIST_DIFFERENCE_H_
