// A ListReader reads the text of a library's list as it arrives, and keeps what a Listing holds.
#ifndef MTLLIB_UPDATE_LIST_READER_H_
#define MTLLIB_UPDATE_LIST_READER_H_

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "update/failure.h"
#include "update/listing.h"

namespace mtlupdate {

/// What is wrong with an entry of a list.
struct ListProblem {
  std::size_t number = 0;  ///< Of the entry, from 1.
  std::string path{};      ///< As it stands in the list; "" when the entry has none.
  std::string reason{};    ///< In words that follow the path: "has no \"path\"".
  bool isRefused = false;  ///< Clients refuse the whole list for it. Others they pass over.
};

/// Takes what the module takes: JSON with comments, of which the last byte, a newline as a rule,
/// is not part; of members with the same name the last counts. It refuses what the module refuses,
/// and besides
/// - a list that is not an array, of which the module takes the members of an object for entries,
///   and anything else for a list without any;
/// - anything but white space and comments behind the array;
/// - an entry whose text is longer than kLongestEntry, so that no text takes more memory than
///   what is kept of it.
///
/// The caller asks its host between two pieces whether to stop. One thread at a time.
class ListReader {
 public:
  /// In bytes, without white space and comments.
  static constexpr std::size_t kLongestEntry = 1048576;

  /// Adds the entries that are fetched to `listing`. With `onProblem`, whatever is not as a
  /// publisher would have written it is reported there, and reading continues after entries that
  /// are refused; `subPath` then says whose own names entries must not have.
  explicit ListReader(Listing& listing, std::function<void(const ListProblem&)> onProblem = {},
                      std::string subPath = "");
  ~ListReader();

  /// Takes the next bytes of the text. Fails with kContent, and must not be called again then.
  Outcome feed(std::string_view bytes);

  /// The text has ended. Fails with kContent when that is too early.
  Outcome finish();

 private:
  struct Parser;
  enum class Place { kBeforeArray, kBeforeFirst, kInEntry, kBehindArray };
  enum class Mode { kPlain, kText, kEscape, kSlash, kLine, kBlock, kStar };

  Outcome take(std::string_view bytes);
  Outcome takePlain(char c);
  Outcome takeToken(char c);
  Outcome takeText(std::string_view& bytes);
  void skipComment(std::string_view& bytes);
  Outcome append(std::string_view bytes);
  Outcome endEntry();
  Outcome report(const ListProblem& problem) const;

  Listing& listing_;
  std::function<void(const ListProblem&)> onProblem_;
  std::string subPath_;
  std::unique_ptr<Parser> parser_;
  Place place_ = Place::kBeforeArray;
  Mode mode_ = Mode::kPlain;
  std::size_t depth_ = 0;   ///< Of brackets open in the entry.
  std::size_t number_ = 0;  ///< Of the entry, from 1.
  std::string entry_{};     ///< Its text so far.
  std::string heldBack_{};  ///< The last byte, while it is not known to be that.
};

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_LIST_READER_H_
