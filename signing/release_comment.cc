// Parses and writes the comment of a release. The parse is loose; the result is then written
// again, and only a comment that comes out unchanged is accepted.
#include "signing/release_comment.h"

#include <charconv>
#include <cstddef>
#include <system_error>
#include <tuple>

#include "rules/path.h"
#include "rules/printable.h"

namespace mtlsigning {

namespace {

constexpr std::size_t kLongestName = 100;
constexpr std::size_t kLongestSubPath = 250;
constexpr std::size_t kLongestComment = 1000;
constexpr std::int64_t kSecondsOfDay = 86400;
constexpr std::int64_t kEndOfTime = 253402300800;  // The year 10000.

bool isVisible(std::string_view text) {
  return !text.empty() && text.front() != ' ' && text.back() != ' ' &&
         text.find(';') == text.npos && mtlrules::printable(text) == text;
}

bool isTime(std::int64_t seconds) {
  return seconds >= 0 && seconds < kEndOfTime;
}

std::string digits(std::int64_t number, std::size_t width) {
  std::string text = std::to_string(number);
  return text.size() < width ? text.insert(0, width - text.size(), '0') : text;
}

struct Date {
  std::int64_t year;
  std::int64_t month;  // From 1.
  std::int64_t day;    // From 1.
};

// Of the proleptic Gregorian calendar. Years are counted from March on, so that the day that not
// every year has is the last one; 400 years always have 146097 days.
std::int64_t daysSince1970(const Date& date) {
  const std::int64_t year = date.month > 2 ? date.year : date.year - 1;
  const std::int64_t month = date.month > 2 ? date.month - 3 : date.month + 9;
  return 365 * year + year / 4 - year / 100 + year / 400 + (153 * month + 2) / 5 + date.day -
         719469;
}

Date dateOf(std::int64_t daysSince1970) {
  const std::int64_t days = daysSince1970 + 719468;
  const std::int64_t era = days / 146097;
  const std::int64_t dayOfEra = days % 146097;
  const std::int64_t yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const std::int64_t month = (5 * dayOfYear + 2) / 153;
  const std::int64_t year = era * 400 + yearOfEra + (month < 10 ? 0 : 1);
  return {year, month < 10 ? month + 3 : month - 9, dayOfYear - (153 * month + 2) / 5 + 1};
}

// Takes fields off the front of a text. After one that is not there, none is.
class Fields {
 public:
  explicit Fields(std::string_view text) : rest_(text) {}

  bool has(std::string_view start) const { return rest_.substr(0, start.size()) == start; }

  std::string_view text(std::string_view start, std::string_view end) {
    if (!has(start)) return fail();
    rest_.remove_prefix(start.size());
    const std::size_t length = rest_.find(end);
    if (length == rest_.npos) return fail();
    const std::string_view field = rest_.substr(0, length);
    rest_.remove_prefix(length + end.size());
    return field;
  }

  std::uint64_t number(std::string_view start, std::string_view end) {
    return numberOf(text(start, end));
  }

  // In the form of utcText().
  std::int64_t time(std::string_view start) {
    constexpr std::string_view kForm = "0000-00-00T00:00:00Z";
    const std::string_view field = text(start, "; ");
    if (field.size() != kForm.size()) {
      fail();
      return 0;
    }
    const auto part = [&](std::size_t at, std::size_t length) {
      return static_cast<std::int64_t>(numberOf(field.substr(at, length)));
    };
    const std::int64_t days = daysSince1970({part(0, 4), part(5, 2), part(8, 2)});
    return days * kSecondsOfDay + part(11, 2) * 3600 + part(14, 2) * 60 + part(17, 2);
  }

  std::string_view rest() const { return rest_; }

 private:
  std::string_view fail() {
    rest_ = {};
    return {};
  }

  std::uint64_t numberOf(std::string_view text) {
    std::uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (text.empty() || error != std::errc() || rest != end) fail();
    return number;
  }

  std::string_view rest_;
};

}  // namespace

bool operator==(const Release& left, const Release& right) {
  const auto values = [](const Release& release) {
    return std::tie(release.library, release.subPath, release.serial, release.published,
                    release.expires);
  };
  return values(left) == values(right) && left.list == right.list;
}

bool isLibraryName(std::string_view name) {
  return name.size() <= kLongestName && isVisible(name);
}

bool isSignableSubPath(std::string_view subPath) {
  return subPath.empty() || (subPath.size() <= kLongestSubPath && isVisible(subPath) &&
                             mtlrules::plainPath(subPath) == subPath);
}

std::string utcText(std::int64_t seconds) {
  const Date date = dateOf(seconds / kSecondsOfDay);
  const std::int64_t time = seconds % kSecondsOfDay;
  return digits(date.year, 4) + '-' + digits(date.month, 2) + '-' + digits(date.day, 2) + 'T' +
         digits(time / 3600, 2) + ':' + digits(time / 60 % 60, 2) + ':' + digits(time % 60, 2) +
         'Z';
}

std::string commentText(const Release& release) {
  std::string text = "library: " + release.library;
  if (!release.subPath.empty()) text += "; sub-path: " + release.subPath;
  text += "; serial: " + std::to_string(release.serial);
  text += "; published: " + utcText(release.published);
  if (release.expires) text += "; expires: " + utcText(*release.expires);
  return text + "; " + mtlrules::noteText(release.list);
}

std::optional<Release> releaseFrom(std::string_view comment) {
  if (comment.size() > kLongestComment) return std::nullopt;
  Fields fields(comment);
  Release release;
  release.library = fields.text("library: ", "; ");
  if (fields.has("sub-path: ")) release.subPath = fields.text("sub-path: ", "; ");
  release.serial = fields.number("serial: ", "; ");
  release.published = fields.time("published: ");
  if (fields.has("expires: ")) release.expires = fields.time("expires: ");
  auto list = mtlrules::noteFrom(fields.rest());
  if (!list) return std::nullopt;
  release.list = *std::move(list);
  const bool isOne = isLibraryName(release.library) && isSignableSubPath(release.subPath) &&
                     release.serial <= kLargestSerial && isTime(release.published) &&
                     isTime(release.expires.value_or(0)) && commentText(release) == comment;
  return isOne ? std::optional<Release>(std::move(release)) : std::nullopt;
}

}  // namespace mtlsigning
