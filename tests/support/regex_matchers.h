// Matchers for regular expressions, the same on every system: GoogleTest's own know few
// signs where the system has none.
#ifndef MTLLIB_TESTS_SUPPORT_REGEX_MATCHERS_H_
#define MTLLIB_TESTS_SUPPORT_REGEX_MATCHERS_H_

#include <gmock/gmock.h>

#include <regex>
#include <string>

/// The whole text matches the ECMAScript pattern.
MATCHER_P(MatchesPattern, pattern, std::string("matches the pattern ") + pattern) {
  return std::regex_match(std::string(arg), std::regex(pattern));
}

#endif  // MTLLIB_TESTS_SUPPORT_REGEX_MATCHERS_H_
