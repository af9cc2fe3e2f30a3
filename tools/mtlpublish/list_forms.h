// ListForms are published beside a library's list so that clients that know them fetch less: the
// list compressed with gzip, and the differences from the lists of the last builds.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_LIST_FORMS_H_
#define MTLLIB_TOOLS_MTLPUBLISH_LIST_FORMS_H_

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "rules/list_note.h"
#include "update/list_difference.h"

namespace mtlpublish {

/// From how many builds there are differences unless the publisher says something else.
inline constexpr std::size_t kUsualDifferences = 50;

/// The names of all forms in the folder, relative to it, in their order.
std::vector<std::string> listFormsIn(const std::filesystem::path& folder);

/// What is wrong with the content of kCompressedListName beside the list; "" when nothing is.
std::string compressedListProblem(const std::string& content, const std::string& list);

/// The same of a difference. Where it begins at one of the `older` lists, it is carried out.
std::string differenceProblem(const std::string& content, const std::string& list,
                              const std::vector<std::string>& older);

/// What a client of the kit fetches for the list.
struct ListCosts {
  std::uint64_t first = 0;  ///< Bytes, of one that has nothing.
  /// Of one that has the last build. None when it needs no list, as it has the same one.
  std::optional<std::uint64_t> update{};
  /// It asks for a difference before, which there is not.
  bool isAskedInVain = false;
};

class ListForms {
 public:
  /// Those of a new list beside what the last build left in `folder`, where list, stamp and forms
  /// are. `differences` is from how many builds there are to be some, 0 for none.
  ListForms(const std::filesystem::path& folder, std::string list, std::size_t differences);

  /// What the stamp is to say of the list.
  const mtlrules::ListNote& note() const { return note_; }

  /// The list that the last build left; "" for none.
  const std::string& lastList() const { return lastList_; }

  /// Names below the folder, with contents, in the order in which they are to be written: before
  /// the list. `isNewStamp`: the stamp of the last build will be replaced.
  std::vector<std::pair<std::string, std::string>> files(bool isNewStamp) const;

  /// Names below the folder of what no client needs any longer, once the stamp is there.
  std::vector<std::string> stale(bool isNewStamp) const;

  ListCosts costs() const;

 private:
  void compress();
  void readLast();
  void makeDifferences(std::size_t count);
  std::string ownName() const;
  void addDifference(const std::string& name, const mtlupdate::ListDifference& difference,
                     std::size_t count);

  std::filesystem::path folder_;
  std::string list_;
  mtlrules::ListNote note_;
  std::string compressed_;
  std::string lastStamp_;
  std::string lastList_;
  std::optional<mtlrules::ListNote> lastNote_;  ///< Of the last list, where the stamp says so.
  /// By their names: those that are there, and those for a new stamp.
  std::map<std::string, mtlupdate::ListDifference> there_;
  std::vector<std::string> damaged_;
  std::map<std::string, std::string> differences_;
};

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_LIST_FORMS_H_
