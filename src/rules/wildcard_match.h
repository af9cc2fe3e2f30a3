// Matches host names against the patterns of a proxy bypass list.
#ifndef MTLLIB_RULES_WILDCARD_MATCH_H_
#define MTLLIB_RULES_WILDCARD_MATCH_H_

namespace mtlrules {

/// 1 when the whole text matches the whole pattern, else 0; 0 when either is null.
///
/// '*' is any run of bytes, '?' any one byte, "[a-z_]" one byte of a set, "[!a-z]" or
/// "[^a-z]" one byte outside it, and '\' makes the next byte stand for itself, in a set too.
/// A set that is not closed matches nothing. Letters are the same in upper and lower case
/// unless `caseSensitive`.
int wildcardMatch(const char* pattern, const char* text, int caseSensitive);

/// Flags of matchPattern.
enum PatternFlags : unsigned {
  PATTERN_FOLD_CASE = 16  ///< Bytes are compared after tolower.
};

/// The matcher under it: 0 when the text matches, else 1. Takes time in proportion to the
/// product of the two lengths, whatever the pattern.
int matchPattern(const char* pattern, const char* text, unsigned flags);

}  // namespace mtlrules

#endif  // MTLLIB_RULES_WILDCARD_MATCH_H_
