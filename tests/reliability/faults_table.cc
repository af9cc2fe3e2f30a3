// The table of faults, one per row: what the server does, and what is reported to the host.
#include "faults_table.h"

#include "fault.h"

namespace {

constexpr const char* kBegin = "<!-- faults: begin -->\n";
constexpr const char* kEnd = "<!-- faults: end -->\n";

std::string outcomeOf(const Fault& fault) {
  if (*fault.cause == '\0') return "takes it as it was sent";
  std::string cause = fault.cause;
  if (cause.back() == '=') cause += "...";
  return "ends: `" + cause + "`" + (fault.abortAt > 0 ? ", once the host says so" : "");
}

std::string table() {
  std::string text = "| The server | The run |\n|---|---|\n";
  for (const Fault& fault : faults()) {
    text += "| " + std::string(fault.description) + " | " + outcomeOf(fault) + " |\n";
  }
  return text;
}

}  // namespace

std::string withFaultsTable(const std::string& document) {
  const std::size_t begin = document.find(kBegin);
  const std::size_t end = document.find(kEnd);
  if (begin == std::string::npos || end == std::string::npos) return {};
  return document.substr(0, begin) + kBegin + table() + document.substr(end);
}
