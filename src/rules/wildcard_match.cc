// Matches patterns without recursion. When the text does not continue as the pattern does, only
// the last '*' has to take in another byte: whatever an earlier one could take in, the last one
// can as well.
#include "rules/wildcard_match.h"

#include <cctype>

namespace mtlrules {

namespace {

class Folding {
 public:
  explicit Folding(unsigned flags) : isOn_((flags & PATTERN_FOLD_CASE) != 0) {}

  int operator()(char c) const {
    const int byte = static_cast<unsigned char>(c);
    return isOn_ ? std::tolower(byte) : byte;
  }

 private:
  bool isOn_;
};

// Steps over a member of a set, and over the '\' before it. False at the pattern's end.
bool nextMember(const char*& pattern, Folding fold, int& member) {
  if (*pattern == '\\') ++pattern;
  if (*pattern == '\0') return false;
  member = fold(*pattern++);
  return true;
}

// Whether `c` is one of the set whose '[' stands before `pattern`; steps over the set. An
// unclosed set has no member, nor has its negation.
bool matchSet(const char*& pattern, int c, Folding fold) {
  const bool negated = *pattern == '!' || *pattern == '^';
  if (negated) ++pattern;
  bool found = false;
  while (*pattern != ']') {
    int first = 0;
    if (!nextMember(pattern, fold, first)) return false;
    int last = first;
    if (pattern[0] == '-' && pattern[1] != ']') {
      ++pattern;
      if (!nextMember(pattern, fold, last)) return false;
    }
    found = found || (first <= c && c <= last);
  }
  ++pattern;
  return found != negated;
}

// Whether the byte `c` of the text matches the element at `pattern`, which is none of '*'
// and the end; steps over the element.
bool matchElement(const char*& pattern, char c, Folding fold) {
  const char element = *pattern++;
  if (element == '?') return true;
  if (element == '[') return matchSet(pattern, fold(c), fold);
  if (element == '\\' && *pattern != '\0') return fold(*pattern++) == fold(c);
  return fold(element) == fold(c);
}

}  // namespace

int matchPattern(const char* pattern, const char* text, unsigned flags) {
  const Folding fold(flags);
  const char* behindStar = nullptr;  // in the pattern, behind its last '*' so far
  const char* starEnd = nullptr;     // in the text, behind what that '*' takes in
  for (;;) {
    if (*pattern == '*') {
      behindStar = ++pattern;
      starEnd = text;
      continue;
    }
    if (*text == '\0' && *pattern == '\0') return 0;
    if (*text == '\0') return 1;
    if (*pattern != '\0' && matchElement(pattern, *text, fold)) {
      ++text;
      continue;
    }
    if (behindStar == nullptr) return 1;
    pattern = behindStar;
    text = ++starEnd;
  }
}

int wildcardMatch(const char* pattern, const char* text, int caseSensitive) {
  if (pattern == nullptr || text == nullptr) return 0;
  const unsigned flags = caseSensitive != 0 ? 0U : unsigned{PATTERN_FOLD_CASE};
  return matchPattern(pattern, text, flags) == 0 ? 1 : 0;
}

}  // namespace mtlrules
