// Converts ASCII letters between upper and lower case. Other bytes stay as they are, whatever the
// locale is.
#ifndef MTLLIB_RULES_ASCII_H_
#define MTLLIB_RULES_ASCII_H_

#include <algorithm>
#include <string_view>

namespace mtlrules {

constexpr char asciiLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

inline bool equalsIgnoringCase(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return asciiLower(a) == asciiLower(b); });
}

}  // namespace mtlrules

#endif  // MTLLIB_RULES_ASCII_H_
