// The rules for the entries of a library's list: which of them a client fetches, and under which
// name.
#ifndef MTLLIB_RULES_LIST_ENTRY_H_
#define MTLLIB_RULES_LIST_ENTRY_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace mtlrules {

/// The name of the list itself.
inline constexpr const char* kListName = "filelist.json";

/// How many other addresses of its library a list may name. Clients pass over further ones.
inline constexpr std::size_t kMostMirrors = 16;

/// When a client fetches a file.
enum class DownloadPolicy {
  kAlways,   ///< Every time that the library has changed.
  kMissing,  ///< Only when it does not have the file.
  kNever,
};

/// The word that a list has for the policy.
const char* wordFor(DownloadPolicy policy);

/// The policy that the word stands for; none for words that a list does not have.
std::optional<DownloadPolicy> policyNamed(std::string_view word);

/// What a client makes of an entry's word: without one it fetches the file always, with an
/// unknown one never.
DownloadPolicy policyOf(std::optional<std::string_view> word);

/// The name under which a library has the lossy variant of a map; none for files that are not
/// maps, whose names end in ".tx".
std::optional<std::string> lossyVariantOf(std::string_view map);

/// The map that a file of this name would be the lossy variant of; none for other names.
std::optional<std::string> mapOfVariant(std::string_view variant);

}  // namespace mtlrules

#endif  // MTLLIB_RULES_LIST_ENTRY_H_
