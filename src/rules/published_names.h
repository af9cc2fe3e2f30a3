// Finds names of a library's files that some client cannot hold, although the publisher's system
// can.
#ifndef MTLLIB_RULES_PUBLISHED_NAMES_H_
#define MTLLIB_RULES_PUBLISHED_NAMES_H_

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mtlrules {

enum class NameFault {
  kUnsavable,    ///< No client can hold the name.
  kWindowsName,  ///< Windows cannot hold the name.
  kSameName,     ///< Is the same as another file, or in one, if case or accents are ignored.
  kLongPath,     ///< The path leaves less than 60 bytes for the folder of a copy.
  kUnusedEntry,  ///< Clients pass over the entry, as they have a file of their own there.
};

/// The word by which a publisher says that a fault may pass; "" for one that never may.
const char* wordFor(NameFault fault);

/// The fault with this word; none for other words.
std::optional<NameFault> faultNamed(std::string_view word);

struct NameFinding {
  NameFault fault;
  std::string text;  ///< What is wrong, printable; it follows "NAME: ".
};

/// Looks at the paths that clients fetch, one after another.
class PublishedNames {
 public:
  /// Gives paths that some system does not distinguish the same text, with '/' where it was.
  using Fold = std::string (*)(const std::string&);

  /// `subPath` is that of the clients, "" for none.
  PublishedNames(std::string_view subPath, Fold fold) : subPath_(subPath), fold_(fold) {}

  /// All that is wrong with a path by itself, and beside those that were added before.
  std::vector<NameFinding> add(const std::string& path);

 private:
  using Key = std::string;
  struct Use {
    std::string path;  // Of a file.
    bool isFolder;
  };
  static std::string clash(const Use& use, const std::string& path);
  std::string clashOf(const std::string& path);

  std::string subPath_;
  Fold fold_;
  std::map<Key, Use> taken_;
};

/// Why no client can save a file of this path, whatever folder its copy is in; "" when it is
/// short enough.
std::string unsavableLength(std::string_view path);

/// All that is wrong with a path by itself.
std::vector<NameFinding> findingsOf(std::string_view path);

}  // namespace mtlrules

#endif  // MTLLIB_RULES_PUBLISHED_NAMES_H_
