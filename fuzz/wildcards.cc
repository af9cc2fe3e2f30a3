// Fuzz target: patterns of a proxy bypass list: the first line is the pattern, the rest the text.
#include "rules/wildcard_match.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "host.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string input(reinterpret_cast<const char*>(bytes), size);
  const std::size_t end = std::min(input.find('\n'), size);
  const std::string pattern = input.substr(0, end);
  const std::string text = input.substr(std::min(end + 1, size));
  const int exactly = mtlrules::wildcardMatch(pattern.c_str(), text.c_str(), 1);
  const int inAnyCase = mtlrules::wildcardMatch(pattern.c_str(), text.c_str(), 0);
  require(exactly == 0 || exactly == 1);
  require(inAnyCase == 0 || inAnyCase == 1);
  require(mtlrules::wildcardMatch("*", text.c_str(), 0) == 1);
  // A text always matches itself with every byte escaped.
  std::string escaped;
  for (const char* c = text.c_str(); *c != '\0'; ++c)
    escaped += {'\\', *c};
  require(mtlrules::wildcardMatch(escaped.c_str(), text.c_str(), 1) == 1);
  return 0;
}
