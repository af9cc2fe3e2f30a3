// Reads library.toml. Each key is removed from the table as it is read, so that the keys left at
// the end are unknown ones.
#include "mtlpublish/library_config.h"

#define TOML_HEADER_ONLY 1
#define TOML_EXCEPTIONS 0
#define TOML_ENABLE_FORMATTERS 0
// toml++ refuses a text such as "[/]" behind an assertion that there is none, on which some
// compilers would rely with NDEBUG.
#define TOML_ASSERT(condition) static_assert(true)
#pragma push_macro("NDEBUG")
#undef NDEBUG
#include <toml++/toml.h>
#pragma pop_macro("NDEBUG")

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>

#include "rules/address.h"
#include "rules/list_entry.h"
#include "rules/printable.h"
#include "signing/release_comment.h"

namespace mtlpublish {

namespace {

/// How many characters have to be changed, added or left out to make one of the other.
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i + 1;
    for (std::size_t j = 0; j < b.size(); ++j) {
      const std::size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
    }
  }
  return row.back();
}

/// Far more than anybody writes, and few enough for nested tables to be destroyed
/// on the stack of any thread.
constexpr std::size_t kMostDots = 1000;

bool beginsMultiLine(std::string_view text) {
  return text.substr(0, 3) == R"(""")" || text.substr(0, 3) == "'''";
}

/// The string or comment that `text` begins with, or its first character. Behind most characters
/// there is no string, such as in "1'".
std::string_view firstToken(std::string_view text, char previous) {
  constexpr std::string_view kBeforeStrings = " \t\r\n=[{,.";
  if (text.front() == '#') return text.substr(0, text.find('\n'));
  const bool isQuote = text.front() == '"' || text.front() == '\'';
  if (!isQuote || kBeforeStrings.find(previous) == kBeforeStrings.npos) return text.substr(0, 1);
  const std::string_view end = text.substr(0, beginsMultiLine(text) ? 3 : 1);
  std::size_t place = end.size();
  while (place < text.size() && text.substr(place, end.size()) != end) {
    const bool isEscape = text[place] == '\\' && text.front() == '"';
    place += isEscape ? 2 : 1;
  }
  place = std::min(place + end.size(), text.size());
  // Of up to five quotes in a row, the last three are the end.
  for (int i = 0; i < 2 && end.size() == 3 && text.substr(place, 1) == end.substr(0, 1); ++i)
    ++place;
  return text.substr(0, place);
}

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; });
}

/// With something that only strings and comments may hold, though not behind a backslash, in the
/// place of each byte of other characters.
std::string inAscii(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string ascii;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      ascii += c;
    } else {
      ascii.append(1, '~').append(1, kDigits[byte / 16U]).append(1, kDigits[byte % 16U]);
    }
  }
  return ascii;
}

/// What toml++ is not to see, since it would not refuse it in order: other characters where TOML
/// has none, and behind a backslash; and tables in tables without end. `token` is where it stands.
std::string_view faultIn(std::string_view text, std::string_view& token) {
  std::size_t dots = 0;
  char previous = '\n';
  for (; !text.empty(); text.remove_prefix(token.size())) {
    token = firstToken(text, previous);
    previous = token.back();
    const bool holdsAll = token.size() > 1 && !beginsMultiLine(token);
    if (!holdsAll && !isAscii(token)) {
      return "characters beyond ASCII may be in comments and in texts of one line";
    }
    if (token == "." && ++dots > kMostDots) return "tables lie too deep in each other";
  }
  return {};
}

class ConfigReader {
 public:
  ConfigReader(const std::filesystem::path& file, std::vector<std::string>& problems)
      : file_(file), problems_(problems) {}

  void parse(std::string_view text) {
    if (text.size() > kLongestConfig) return refuse(1, "the file is too long");
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
      text.remove_prefix(kByteOrderMark.size());
    }
    std::string_view token;
    if (const std::string_view fault = faultIn(text, token); !fault.empty()) {
      return refuse(std::count(text.data(), token.data(), '\n') + 1, std::string(fault));
    }
    // Behind its first fault, other characters may be where faultIn() does not take them to be.
    if (!isAscii(text) && !isToml(toml::parse(inAscii(text)))) return;
    const toml::parse_result parsed = toml::parse(text);
    if (isToml(parsed)) readLibrary(parsed.table());
  }

  LibraryConfig take() { return std::move(config_); }

 private:
  void refuse(std::ptrdiff_t line, const std::string& text) {
    problems_.push_back(mtlrules::printable(file_.filename().u8string()) + ':' +
                        std::to_string(line) + ": " + mtlrules::printable(text));
  }

  bool isToml(const toml::parse_result& parsed) {
    if (!parsed) add(parsed.error().source(), std::string(parsed.error().description()));
    return static_cast<bool>(parsed);
  }

  void add(const toml::source_region& place, const std::string& text) {
    refuse(static_cast<std::ptrdiff_t>(place.begin.line), text);
  }

  void readLibrary(const toml::table& table) {
    checkWords(table, {"name", "lossy", "exclude", "include", "never", "allow", "keep",
                       "differences", "mirrors", "policy", "cache", "signing", "address", "view"});
    readText(table, "name", [this](const std::string& name) {
      config_.name = name;
      return mtlsigning::isLibraryName(name) ? "" : "is not a name for a library";
    });
    std::optional<bool> lossy;
    readFlag(table, "lossy", lossy);
    config_.listing.lossy = lossy.value_or(false);
    readGlobs(table, "exclude", config_.listing.selection.exclude);
    readGlobs(table, "include", config_.listing.selection.include);
    std::vector<Glob> never;
    readGlobs(table, "never", never);
    for (Glob& glob : never)
      config_.listing.policies.push_back({std::move(glob), DownloadPolicy::kNever});
    readTexts(table, "allow", [this](const std::string& kind) {
      return allow(kind, config_.listing) ? std::string() : "is not " + std::string(kKinds);
    });
    readTexts(table, "mirrors", [this](const std::string& address) {
      config_.listing.mirrors.push_back(address);
      return mirrorProblem(address);
    });
    readNumber(table, "keep", 0, 1000, "a number of builds", config_.keep);
    readNumber(table, "differences", 0, 1000, "a number of builds", config_.differences);
    readPolicies(table, config_.listing.policies);
    readCaches(table);
    readText(table, "address", [this](const std::string& address) {
      config_.address = mtlrules::withoutTrailingSlashes(address);
      return addressProblem(config_.address);
    });
    readViews(table);
    if (const toml::node* node = table.get("signing")) {
      if (node->is_table()) {
        readSigning(*node->as_table());
      } else {
        add(node->source(), "signing is a table: [signing]");
      }
    }
  }

  static const char* addressProblem(const std::string& address) {
    if (address.find("://") == address.npos || mtlrules::fileUrl(address, "").empty()) {
      return "is not an address of http or https";
    }
    if (mtlrules::hasUserName(address)) return "has a user name";
    return "";
  }

  void readViews(const toml::table& table) {
    readTables(table, "view", "views are tables: [[view]]", [this](const toml::table& one) {
      checkWords(one, {"sub-path", "files", "exclude", "lossy", "policy"});
      View view;
      readText(one, "sub-path", [this, &view](const std::string& path) {
        view.subPath = path;
        const bool isTaken =
            std::any_of(config_.views.begin(), config_.views.end(),
                        [&path](const View& other) { return other.subPath == path; });
        return isTaken ? "is that of another view" : viewPathProblem(path);
      });
      if (!one.contains("sub-path")) add(one.source(), "a view has no sub-path");
      readGlobs(one, "files", view.files);
      readGlobs(one, "exclude", view.exclude);
      readFlag(one, "lossy", view.lossy);
      readPolicies(one, view.policies);
      config_.views.push_back(std::move(view));
    });
    // Their lists are looked for beside the folder that the address names.
    if (!config_.views.empty() && !table.contains("address")) {
      add(table.get("view")->source(), "views need the address that clients give: address = \"…\"");
    }
  }

  void readPolicies(const toml::table& table, std::vector<PolicyRule>& policies) {
    readTables(
        table, "policy", "policies are tables: [[policy]]",
        [this, &policies](const toml::table& policy) {
          checkWords(policy, {"files", "download"});
          std::vector<Glob> files;
          readGlobs(policy, "files", files);
          if (!policy.contains("files")) add(policy.source(), "a policy has no files");
          std::optional<DownloadPolicy> download;
          readText(policy, "download", [&download](const std::string& word) {
            download = mtlrules::policyNamed(word);
            return download ? "" : "is not always, missing or never";
          });
          if (!policy.contains("download")) add(policy.source(), "a policy has no download");
          for (Glob& glob : files)
            policies.push_back({std::move(glob), download.value_or(DownloadPolicy::kAlways)});
        });
  }

  void readCaches(const toml::table& table) {
    if (table.contains("cache")) config_.caches.clear();
    readTables(table, "cache", "rules for caches are tables: [[cache]]",
               [this](const toml::table& rule) {
                 checkWords(rule, {"files", "life"});
                 std::vector<Glob> files;
                 readGlobs(rule, "files", files);
                 if (!rule.contains("files")) add(rule.source(), "a rule for caches has no files");
                 std::optional<std::string> control;
                 readText(rule, "life", [&control](const std::string& life) {
                   std::string problem;
                   control = controlOfLife(life, problem);
                   return control ? "" : isIt(problem, nearestWord(life, {"forever", "no-cache"}));
                 });
                 if (!rule.contains("life")) add(rule.source(), "a rule for caches has no life");
                 for (Glob& glob : files)
                   config_.caches.push_back({std::move(glob), control.value_or(kAskFirst)});
               });
  }

  static std::string isIt(const std::string& problem, std::string_view nearest) {
    return problem + (nearest.empty() ? "" : "; is it '" + std::string(nearest) + "'?");
  }

  /// Has each of the tables of this name read.
  template <class Read>
  void readTables(const toml::table& table, const char* word, const char* problem, Read read) {
    const toml::node* const node = table.get(word);
    if (node == nullptr) return;
    if (!node->is_array_of_tables()) return add(node->source(), problem);
    for (const toml::node& element : *node->as_array())
      read(*element.as_table());
  }

  void readSigning(const toml::table& table) {
    checkWords(table, {"key", "expires", "sub-path"});
    readText(table, "key", [this](const std::string& key) {
      config_.keyFile = file_.parent_path() / std::filesystem::u8path(key);
      return key.empty() ? "is empty" : "";
    });
    readText(table, "sub-path", [this](const std::string& path) {
      config_.subPath = path;
      return mtlsigning::isSignableSubPath(path) ? "" : "is not the way to write a sub-path";
    });
    readNumber(table, "expires", 1, 3650, "a number of days", config_.expires);
  }

  void readFlag(const toml::table& table, const char* word, std::optional<bool>& flag) {
    const toml::node* const node = table.get(word);
    if (node == nullptr) return;
    flag = node->value_exact<bool>();
    if (!flag) add(node->source(), std::string(word) + " is true or false");
  }

  void readNumber(const toml::table& table, const char* word, int least, int most,
                  const std::string& what, int& number) {
    const toml::node* const node = table.get(word);
    if (node == nullptr) return;
    const auto value = node->value_exact<std::int64_t>();
    if (value && *value >= least && *value <= most) {
      number = static_cast<int>(*value);
    } else {
      add(node->source(), std::string(word) + " is " + what + ", " + std::to_string(least) +
                              " to " + std::to_string(most));
    }
  }

  /// Has every word reported that is none of these.
  void checkWords(const toml::table& table, const std::vector<std::string_view>& known) {
    for (const auto& [key, value] : table) {
      if (std::find(known.begin(), known.end(), key.str()) != known.end()) continue;
      add(key.source(),
          isIt("'" + std::string(key.str()) + "' is not known", nearestWord(key.str(), known)));
    }
  }

  /// `take` gets the text, if there is one, and returns what is wrong with it.
  template <class Take>
  void readText(const toml::table& table, const char* word, Take take) {
    if (const toml::node* node = table.get(word)) takeText(*node, word, take);
  }

  template <class Take>
  void takeText(const toml::node& node, const char* word, Take take) {
    const auto text = node.value_exact<std::string>();
    if (!text) return add(node.source(), std::string(word) + " is a text: \"…\"");
    const std::string problem = take(*text);
    if (!problem.empty()) add(node.source(), std::string(word) + ": '" + *text + "' " + problem);
  }

  /// The same for each of several.
  template <class Take>
  void readTexts(const toml::table& table, const char* word, Take take) {
    const toml::node* const node = table.get(word);
    if (node == nullptr) return;
    if (!node->is_array()) return add(node->source(), std::string(word) + " is a list: [\"…\"]");
    for (const toml::node& element : *node->as_array())
      takeText(element, word, take);
  }

  void readGlobs(const toml::table& table, const char* word, std::vector<Glob>& globs) {
    readTexts(table, word, [&globs](const std::string& pattern) {
      std::string problem;
      if (auto glob = Glob::parse(pattern, problem)) globs.push_back(*std::move(glob));
      return problem;
    });
  }

  const std::filesystem::path& file_;
  std::vector<std::string>& problems_;
  LibraryConfig config_;
};

}  // namespace

std::string_view nearestWord(std::string_view word, const std::vector<std::string_view>& words) {
  std::string_view nearest;
  std::size_t least = word.size() / 2 + 1;
  for (const std::string_view one : words) {
    const std::size_t changes = distance(word, one);
    if (changes < least) {
      least = changes;
      nearest = one;
    }
  }
  return nearest;
}

std::optional<LibraryConfig> parseConfig(std::string_view text, const std::filesystem::path& file,
                                         std::vector<std::string>& problems) {
  const std::size_t before = problems.size();
  ConfigReader reader(file, problems);
  reader.parse(text);
  if (problems.size() != before) return std::nullopt;
  return reader.take();
}

}  // namespace mtlpublish
