// Gives the system's own texts for error codes, for expected messages.
#ifndef MTLLIB_TESTS_SUPPORT_SYSTEM_TEXT_H_
#define MTLLIB_TESTS_SUPPORT_SYSTEM_TEXT_H_

#include <string>

/// The system's text for the error `code`, with its line break: `text`, but on Windows,
/// where the wording is the installed system's and the user's language's.
std::string systemText(unsigned code, const std::string& text);

#endif  // MTLLIB_TESTS_SUPPORT_SYSTEM_TEXT_H_
