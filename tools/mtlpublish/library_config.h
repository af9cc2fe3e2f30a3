// A LibraryConfig is what library.toml says about a library: which of its files are published, and
// how.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_LIBRARY_CONFIG_H_
#define MTLLIB_TOOLS_MTLPUBLISH_LIBRARY_CONFIG_H_

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mtlpublish/cache_rules.h"
#include "mtlpublish/library_entries.h"
#include "mtlpublish/list_forms.h"
#include "mtlpublish/views.h"

namespace mtlpublish {

struct LibraryConfig {
  ListingOptions listing{};
  std::string address{};                 ///< That clients give; "" where it is not said.
  std::vector<View> views{};             ///< With sub-paths that are all different.
  std::string name{};                    ///< Of the library when it is signed; "" for none.
  std::optional<std::string> subPath{};  ///< That clients of a signed library give.
  std::filesystem::path keyFile{};       ///< To sign with; empty for none.
  int expires = 0;                       ///< Days for which a signature is accepted; 0 without end.
  std::vector<CacheRule> caches = usualCacheRules();
  int keep = 0;  ///< How many builds before the last one are kept.
  int differences = static_cast<int>(kUsualDifferences);  ///< As PublishOptions::differences.
};

/// In bytes; a longer text is refused.
inline constexpr std::size_t kLongestConfig = 1048576;

/// Reads the text of a configuration. `file` is where it stands: its name begins each line of
/// `problems`, "FILE:LINE: what is wrong", and names of files in it are below its folder. None when
/// there is a problem; all of them are found at once.
std::optional<LibraryConfig> parseConfig(std::string_view text, const std::filesystem::path& file,
                                         std::vector<std::string>& problems);

/// The one of the words that is most like `word`; "" when none is much like it.
std::string_view nearestWord(std::string_view word, const std::vector<std::string_view>& words);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_LIBRARY_CONFIG_H_
