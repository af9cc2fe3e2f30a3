// Makes texts from elsewhere safe to show to people. Names and messages may come from a server
// that cannot be trusted: on a terminal they could issue commands or disguise themselves as
// another text, and in a log they could add lines of their own.
#ifndef MTLLIB_RULES_PRINTABLE_H_
#define MTLLIB_RULES_PRINTABLE_H_

#include <string>
#include <string_view>

namespace mtlrules {

/// `text` with every byte written as \xHH that is not part of valid UTF-8, or belongs to a
/// control character (U+0000 to U+001F, U+007F to U+009F), a separator of lines (U+2028,
/// U+2029) or a mark that changes the direction of the text around it (U+061C, U+200E,
/// U+200F, U+202A to U+202E, U+2066 to U+2069). What comes out is valid UTF-8, and stays as it
/// is when given again.
std::string printable(std::string_view text);

/// The same as one line: without blanks at the ends, and with line breaks and tabs, and the
/// blanks around them, made one blank.
std::string printableLine(std::string_view text);

/// `json`, which is valid JSON, with the same characters written as \uXXXX, which leaves its
/// meaning as it is.
std::string printableJson(std::string_view json);

}  // namespace mtlrules

#endif  // MTLLIB_RULES_PRINTABLE_H_
