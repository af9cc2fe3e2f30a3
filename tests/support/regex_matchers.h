// Matchers for regular expressions that work the same on every system. GoogleTest's own support
// little syntax where the system has no regular expressions.
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
