// Writes calls as they would look in source code, for transcripts that show the arguments
// themselves and not only the text that they produce.
#ifndef MTLLIB_TESTS_SUPPORT_CALL_TEXT_H_
#define MTLLIB_TESTS_SUPPORT_CALL_TEXT_H_

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

/// `text` as a string literal. Bytes from 0x80 on stay as they are.
inline std::string stringLiteral(std::string_view text) {
  std::string literal = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\r' || c == '\n') {
      literal += c == '\r' ? "\\r" : "\\n";
    } else if (byte < 0x20) {
      char escape[8];
      std::snprintf(escape, sizeof(escape), "\\x%02X", byte);
      literal += escape;
    } else {
      if (c == '"' || c == '\\') literal += '\\';
      literal += c;
    }
  }
  return literal + '"';
}

/// The arguments that a printf format takes, each as it would be written: texts quoted,
/// numbers in base 10. A conversion that no message may use ends the list with "?".
inline std::vector<std::string> argumentsOf(std::string_view format, std::va_list arguments) {
  std::vector<std::string> list;
  for (std::size_t i = 0; i < format.size(); ++i) {
    if (format[i] != '%') continue;
    std::size_t longs = 0;
    for (++i; i < format.size() && format[i] == 'l'; ++i)
      ++longs;
    const char conversion = i < format.size() ? format[i] : '\0';
    if (conversion == '%') continue;
    if (conversion == 's') {
      const char* text = va_arg(arguments, const char*);
      list.push_back(text != nullptr ? stringLiteral(text) : "null");
    } else if ((conversion == 'd' || conversion == 'i') && longs == 0) {
      list.push_back(std::to_string(va_arg(arguments, int)));
    } else if ((conversion == 'd' || conversion == 'i') && longs == 2) {
      list.push_back(std::to_string(va_arg(arguments, long long)));
    } else {
      list.emplace_back("?");
      return list;
    }
  }
  return list;
}

#endif  // MTLLIB_TESTS_SUPPORT_CALL_TEXT_H_
