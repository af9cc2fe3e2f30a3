// Parses patterns into pieces, and matches them with a single point of return, so that no pattern
// takes long.
#include "mtlpublish/glob.h"
#include "rules/utf8.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace mtlpublish {

namespace {

bool isPlainInRegex(char32_t character) {
  return (character >= U'a' && character <= U'z') || (character >= U'A' && character <= U'Z') ||
         (character >= U'0' && character <= U'9') || character == U'/' || character == U'_' ||
         character == U'-';
}

std::string escaped(char32_t character) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "\\x{%lx}", static_cast<unsigned long>(character));
  return text.data();
}

std::string regexOfOne(char32_t character) {
  if (character == U'.') return "\\.";
  return isPlainInRegex(character) ? std::string(1, static_cast<char>(character))
                                   : escaped(character);
}

}  // namespace

std::optional<Glob> Glob::parse(std::string_view pattern, std::string& problem) {
  if (pattern.empty()) {
    problem = "is empty";
    return std::nullopt;
  }
  if (!mtlrules::isValidUtf8(pattern)) {
    problem = "is not valid UTF-8";
    return std::nullopt;
  }
  Glob glob;
  glob.text_ = pattern;
  glob.wholePath_ = pattern.find('/') != pattern.npos;
  const std::u32string characters = mtlrules::codePoints(pattern);
  for (std::size_t i = 0; i < characters.size(); ++i) {
    Token token{Kind::kOneOf, {}};
    if (characters[i] == U'*') {
      token.kind = Kind::kAnyText;
    } else if (characters[i] == U'?') {
      token.kind = Kind::kAnyCharacter;
    } else if (characters[i] != U'[') {
      token.ranges.emplace_back(characters[i], characters[i]);
    } else if (!parseSet(characters, i, token)) {
      problem = "has a '[' without its ']'";
      return std::nullopt;
    }
    glob.tokens_.push_back(std::move(token));
  }
  return glob;
}

/// `position` is at the '[' and is left at the ']'.
bool Glob::parseSet(const std::u32string& pattern, std::size_t& position, Token& token) {
  std::size_t i = position + 1;
  if (i < pattern.size() && (pattern[i] == U'!' || pattern[i] == U'^')) {
    token.kind = Kind::kNoneOf;
    ++i;
  }
  const std::size_t end = pattern.find(U']', i + 1);
  if (end == pattern.npos) return false;
  while (i < end) {
    if (i + 2 < end && pattern[i + 1] == U'-') {
      token.ranges.emplace_back(pattern[i], pattern[i + 2]);
      i += 3;
    } else {
      token.ranges.emplace_back(pattern[i], pattern[i]);
      ++i;
    }
  }
  position = end;
  return true;
}

bool Glob::accepts(const Token& token, char32_t character) {
  if (token.kind == Kind::kAnyCharacter) return true;
  const bool listed =
      std::any_of(token.ranges.begin(), token.ranges.end(), [character](const Range& range) {
        return range.first <= character && character <= range.second;
      });
  return listed == (token.kind == Kind::kOneOf);
}

bool Glob::matches(std::string_view path) const {
  if (!wholePath_) path.remove_prefix(path.rfind('/') + 1);
  const std::u32string text = mtlrules::codePoints(path);
  std::size_t token = 0;
  std::size_t position = 0;
  // Where to continue when what follows the last '*' does not match: that '*' takes one
  // character more. Earlier ones need not be tried again.
  std::size_t lastStar = tokens_.size();
  std::size_t starEnd = 0;
  while (position < text.size()) {
    if (token < tokens_.size() && tokens_[token].kind == Kind::kAnyText) {
      lastStar = token++;
      starEnd = position;
    } else if (token < tokens_.size() && accepts(tokens_[token], text[position])) {
      ++token;
      ++position;
    } else if (lastStar < tokens_.size()) {
      token = lastStar + 1;
      position = ++starEnd;
    } else {
      return false;
    }
  }
  return std::all_of(tokens_.begin() + static_cast<std::ptrdiff_t>(token), tokens_.end(),
                     [](const Token& rest) { return rest.kind == Kind::kAnyText; });
}

std::string Glob::regexOf(const Token& token) const {
  if (token.kind == Kind::kAnyText) return wholePath_ ? ".*" : "[^/]*";
  if (token.kind == Kind::kAnyCharacter) return wholePath_ ? "." : "[^/]";
  const bool isOne = token.kind == Kind::kOneOf;
  if (isOne && token.ranges.size() == 1 && token.ranges[0].first == token.ranges[0].second) {
    return regexOfOne(token.ranges[0].first);
  }
  std::string ranges;
  for (const auto& [first, last] : token.ranges) {
    // One that ends before it begins has nothing, and PCRE refuses it.
    if (first <= last) ranges += escaped(first) + '-' + escaped(last);
  }
  if (ranges.empty()) return isOne ? "(?!)" : regexOf(Token{Kind::kAnyCharacter, {}});
  // A name has no '/', though a range may have it.
  return (wholePath_ ? "" : "(?!/)") + std::string(isOne ? "[" : "[^") + ranges + ']';
}

std::string Glob::regex() const {
  std::string text = wholePath_ ? "" : "(.*/)?";
  for (const Token& token : tokens_)
    text += regexOf(token);
  return text;
}

std::string regexOf(std::string_view text) {
  std::string regex;
  for (const char32_t character : mtlrules::codePoints(text))
    regex += regexOfOne(character);
  return regex;
}

bool anyMatches(const std::vector<Glob>& globs, std::string_view path) {
  return std::any_of(globs.begin(), globs.end(),
                     [path](const Glob& glob) { return glob.matches(path); });
}

}  // namespace mtlpublish
