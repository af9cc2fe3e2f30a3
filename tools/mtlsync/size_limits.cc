// Parses sizes in decimal units, as they are printed.
#include "mtlsync/size_limits.h"

#include <array>
#include <charconv>
#include <limits>
#include <system_error>

namespace mtlsync {

namespace {

struct Unit {
  std::string_view suffix;
  const char* name;
  std::int64_t bytes;
};

constexpr std::array<Unit, 4> kUnits{
    {{"G", "GB", 1000000000}, {"M", "MB", 1000000}, {"k", "kB", 1000}, {"", "bytes", 1}}};

const Unit* unitWithSuffix(std::string_view suffix) {
  for (const Unit& unit : kUnits) {
    if (unit.suffix == suffix) return &unit;
  }
  return nullptr;
}

bool exceeds(std::int64_t bytes, std::int64_t limit) {
  return limit > 0 && bytes > limit;
}

}  // namespace

std::optional<std::int64_t> parseSize(std::string_view text) {
  std::int64_t count = 0;
  const char* end = text.data() + text.size();
  const auto [rest, problem] = std::from_chars(text.data(), end, count);
  if (problem != std::errc() || text.front() == '-') return std::nullopt;
  const Unit* unit = unitWithSuffix(text.substr(static_cast<std::size_t>(rest - text.data())));
  if (unit == nullptr) return std::nullopt;
  if (count > std::numeric_limits<std::int64_t>::max() / unit->bytes) return std::nullopt;
  return count * unit->bytes;
}

std::string sizeText(std::int64_t bytes) {
  if (bytes == 1) return "1 byte";
  const Unit* unit = kUnits.data();
  while (bytes % unit->bytes != 0)
    ++unit;
  return std::to_string(bytes / unit->bytes) + " " + unit->name;
}

std::string exceededLimit(const SizeLimits& limits, std::int64_t fileBytes,
                          std::int64_t totalBytes) {
  if (exceeds(fileBytes, limits.file)) {
    return "a file is larger than " + sizeText(limits.file) + " (--max-file-size)";
  }
  if (exceeds(totalBytes, limits.total)) {
    return "the files together are larger than " + sizeText(limits.total) + " (--max-total-size)";
  }
  return "";
}

}  // namespace mtlsync
