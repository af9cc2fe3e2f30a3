// Applies cache rules. Lists and stamps are recognised by their names alone, wherever they are,
// as in nginx's map.
#include "mtlpublish/cache_rules.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

#include "rules/list_entry.h"
#include "rules/list_note.h"
#include "rules/own_names.h"

namespace mtlpublish {

namespace {

constexpr std::int64_t kMinute = 60;
constexpr std::int64_t kHour = 60 * kMinute;
constexpr std::int64_t kDay = 24 * kHour;
constexpr std::int64_t kYear = 365 * kDay;

/// 0 when it is none.
std::int64_t secondsIn(char unit) {
  switch (unit) {
    case 's':
      return 1;
    case 'm':
      return kMinute;
    case 'h':
      return kHour;
    case 'd':
      return kDay;
    case 'y':
      return kYear;
    default:
      return 0;
  }
}

std::optional<std::int64_t> secondsOf(std::string_view time) {
  if (time.empty()) return std::nullopt;
  const std::int64_t unit = secondsIn(time.back());
  const char* const end = time.data() + time.size() - 1;
  std::uint32_t count = 0;
  const auto [rest, error] = std::from_chars(time.data(), end, count);
  if (error != std::errc() || rest != end || unit == 0 || count == 0) return std::nullopt;
  const std::int64_t seconds = count * unit;
  return seconds <= kYear ? std::optional(seconds) : std::nullopt;
}

/// `path` in the folder, or in one of its folders.
bool hasName(std::string_view path, std::string_view name) {
  if (path.size() < name.size() || path.substr(path.size() - name.size()) != name) return false;
  return path.size() == name.size() || path[path.size() - name.size() - 1] == '/';
}

/// What builds write in a folder of differences.
bool isDifference(std::string_view path) {
  const std::size_t name = path.rfind('/');
  if (name == path.npos || name == 0) return false;
  const std::size_t folder = path.rfind('/', name - 1);
  return mtlrules::isListForm(path.substr(folder == path.npos ? 0 : folder + 1));
}

constexpr const char* kLinesOfAll =
    "map $uri $life {\n"
    "  default                     \"no-cache\";\n"
    "  ~/id\\.txt$                  \"max-age=60\";\n"
    "  ~/filelist\\.json(\\.gz)?$    \"no-cache\";\n"
    "  ~/changes/[0-9a-f]+\\.gz$    \"no-cache\";\n";

}  // namespace

std::optional<std::string> controlOfLife(std::string_view life, std::string& problem) {
  if (life == "forever") return kForever;
  if (life == "no-cache") return kAskFirst;
  if (const auto seconds = secondsOf(life)) return "max-age=" + std::to_string(*seconds);
  problem = "is not forever, no-cache or a time: 90s, 10m, 12h, 30d, or 1y at most";
  return std::nullopt;
}

std::vector<CacheRule> usualCacheRules() {
  std::string ignored;
  return {{*Glob::parse("maps/*", ignored), kForever}};
}

std::string_view controlOfFile(const std::vector<CacheRule>& rules, std::string_view path) {
  const auto rule = std::find_if(rules.begin(), rules.end(),
                                 [path](const CacheRule& one) { return one.files.matches(path); });
  return rule == rules.end() ? std::string_view(kAskFirst) : rule->control;
}

std::string_view controlOnServer(const std::vector<CacheRule>& rules, std::string_view path) {
  if (hasName(path, mtlrules::kStampName)) return kStampControl;
  const bool isList = hasName(path, mtlrules::kListName) ||
                      hasName(path, mtlrules::kCompressedListName) || isDifference(path);
  return isList ? std::string_view(kAskFirst) : controlOfFile(rules, path);
}

std::string nginxMap(const std::vector<CacheRule>& rules,
                     const std::optional<std::string>& addressPath) {
  std::string folder = "/[^/]+/";
  if (addressPath) folder = "/" + regexOf(*addressPath) + (addressPath->empty() ? "" : "/");
  std::string text = kLinesOfAll;
  for (const CacheRule& rule : rules) {
    text += "  \"~(*UTF)^" + folder + rule.files.regex() + "$\"  \"" + rule.control + "\";\n";
  }
  return text + "}\n";
}

}  // namespace mtlpublish
