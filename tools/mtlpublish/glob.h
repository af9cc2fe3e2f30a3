// A Glob is a pattern that selects files of a library.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_GLOB_H_
#define MTLLIB_TOOLS_MTLPUBLISH_GLOB_H_

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace mtlpublish {

/// A pattern over UTF-8 text, case-sensitive:
///
///   *       any characters, none too, '/' included
///   ?       one character
///   [a-z_]  one of these characters; [!a-z] or [^a-z] one that is none of them;
///           ']' is meant itself when it comes first, '-' when first or last
///
/// A pattern without '/' is matched against a file's name alone, one with '/' against
/// its whole path below the library's folder.
class Glob {
 public:
  /// None when the pattern is empty, is not UTF-8 or has a '[' without its ']'; `problem`
  /// then says which, in words that follow the pattern.
  static std::optional<Glob> parse(std::string_view pattern, std::string& problem);

  /// `path` is valid UTF-8 and separated by '/'.
  bool matches(std::string_view path) const;

  /// A regular expression of PCRE, in its mode for UTF-8, for the paths that it matches. It has no
  /// anchors, no blanks and no quotes.
  std::string regex() const;

  /// The pattern as it was given.
  const std::string& text() const { return text_; }

 private:
  enum class Kind { kAnyText, kAnyCharacter, kOneOf, kNoneOf };
  using Range = std::pair<char32_t, char32_t>;
  /// One character of the pattern stands for a set of one.
  struct Token {
    Kind kind;
    std::vector<Range> ranges;
  };

  static bool parseSet(const std::u32string& pattern, std::size_t& position, Token& token);
  static bool accepts(const Token& token, char32_t character);
  std::string regexOf(const Token& token) const;

  std::string text_;
  bool wholePath_ = false;
  std::vector<Token> tokens_;
};

/// A regular expression as Glob::regex() for the text itself, which is UTF-8.
std::string regexOf(std::string_view text);

bool anyMatches(const std::vector<Glob>& globs, std::string_view path);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_GLOB_H_
