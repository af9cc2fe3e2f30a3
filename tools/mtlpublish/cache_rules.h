// A CacheRule says how long caches between a server and its clients may answer requests for
// certain files of a library.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_CACHE_RULES_H_
#define MTLLIB_TOOLS_MTLPUBLISH_CACHE_RULES_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mtlpublish/glob.h"

namespace mtlpublish {

struct CacheRule {
  Glob files;
  std::string control;  ///< The Cache-Control of these files.
};

/// The Cache-Control of files whose content never changes under their names.
inline constexpr const char* kForever = "max-age=31536000, immutable";
/// That of what caches may keep, but must ask for before each answer: files that no rule is for,
/// lists, and the other forms of lists.
inline constexpr const char* kAskFirst = "no-cache";
/// That of stamps. One that is older than the rest does no harm.
inline constexpr const char* kStampControl = "max-age=60";

/// The Cache-Control of a life: "no-cache", "forever", or a time from "1s" to "1y", with s, m, h, d
/// or y. None when it is not a life; `problem` then says so, in words that follow the life.
std::optional<std::string> controlOfLife(std::string_view life, std::string& problem);

/// Those of a library that says nothing of caches: what is below "maps/" stays forever.
std::vector<CacheRule> usualCacheRules();

/// That of the first rule that is for the file, whose path is below the library's folder.
std::string_view controlOfFile(const std::vector<CacheRule>& rules, std::string_view path);

/// The same for whatever a server has, stamps and lists included, for which no rule is.
std::string_view controlOnServer(const std::vector<CacheRule>& rules, std::string_view path);

/// The map of a configuration of nginx that gives each $uri the same as $life. `addressPath` is the
/// path of the library's address; one name of any kind where it is not known.
std::string nginxMap(const std::vector<CacheRule>& rules,
                     const std::optional<std::string>& addressPath);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_CACHE_RULES_H_
