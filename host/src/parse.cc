// Sizes are in decimal units, as they are printed.
#include "mtlhost/parse.h"

#include <array>
#include <charconv>
#include <limits>
#include <system_error>

namespace mtlhost {

namespace {

struct Unit {
  std::string_view suffix;
  std::int64_t bytes;
};

constexpr std::array<Unit, 4> kUnits{{{"G", 1000000000}, {"M", 1000000}, {"k", 1000}, {"", 1}}};

const Unit* unitWithSuffix(std::string_view suffix) {
  for (const Unit& unit : kUnits) {
    if (unit.suffix == suffix) return &unit;
  }
  return nullptr;
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

std::optional<std::chrono::seconds> parseDuration(std::string_view text) {
  constexpr std::int64_t kMost = std::int64_t{366} * 24 * 3600;
  std::int64_t factor = 1;
  if (!text.empty() && (text.back() < '0' || text.back() > '9')) {
    const char unit = text.back();
    if (unit != 's' && unit != 'm' && unit != 'h') return std::nullopt;
    if (unit != 's') factor = unit == 'm' ? 60 : 3600;
    text.remove_suffix(1);
  }
  std::int64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || rest != end || number < 0 || number > kMost / factor) {
    return std::nullopt;
  }
  return std::chrono::seconds(number * factor);
}

}  // namespace mtlhost
