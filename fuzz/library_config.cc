// Fuzz target: configurations of libraries, and records of builds that are kept: whatever the text
// is, a configuration is taken or refused with reasons, each in one line that can be shown; and a
// record that is taken is written as it was.
#include "mtlpublish/library_config.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host.h"
#include "mtlpublish/kept_builds.h"
#include "rules/printable.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  std::vector<std::string> problems;
  const auto config = mtlpublish::parseConfig(text, "library.toml", problems);
  require(config.has_value() == problems.empty());
  for (const std::string& problem : problems)
    require(problem == mtlrules::printable(problem) && problem.rfind("library.toml:", 0) == 0);
  const auto record = mtlpublish::parseRecord(text);
  require(!record || mtlpublish::recordText(*record) == text);
  return 0;
}
