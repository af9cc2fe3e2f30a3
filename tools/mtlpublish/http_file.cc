// Computes validators and dates. Dates are compared as texts, since clients send back what they
// were given.
#include "mtlpublish/http_file.h"

#include <array>
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <mutex>

namespace mtlpublish {

namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

std::string_view withoutBlanks(std::string_view text) {
  const std::size_t start = text.find_first_not_of(" \t");
  if (start == text.npos) return {};
  return text.substr(start, text.find_last_not_of(" \t") - start + 1);
}

/// A tag that is marked as weak is as good here.
bool listsTag(std::string_view tags, std::string_view tag) {
  while (!tags.empty()) {
    std::string_view candidate = tags.substr(0, tags.find(','));
    tags.remove_prefix(candidate.size() < tags.size() ? candidate.size() + 1 : tags.size());
    candidate = withoutBlanks(candidate);
    if (candidate.substr(0, 2) == "W/") candidate.remove_prefix(2);
    if (candidate == tag || candidate == "*") return true;
  }
  return false;
}

}  // namespace

std::string httpDate(std::int64_t secondsSince1970) {
  static std::mutex mutex;
  std::tm parts{};
  {
    // The function has one result for all threads.
    const std::lock_guard lock(mutex);
    const auto time = static_cast<std::time_t>(secondsSince1970);
    if (const std::tm* found = std::gmtime(&time)) parts = *found;
  }
  std::array<char, 64> text{};
  std::strftime(text.data(), text.size(), "%a, %d %b %Y %H:%M:%S GMT", &parts);
  return text.data();
}

std::string lastModified(const FileState& state) {
  return httpDate(state.modified / kNanosecondsPerSecond);
}

std::string entityTag(const FileState& state) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "\"%llx-%llx-%llx\"",
                static_cast<unsigned long long>(state.modified),
                static_cast<unsigned long long>(state.changed),
                static_cast<unsigned long long>(state.size));
  return text.data();
}

bool isKnown(std::string_view ifNoneMatch, std::string_view ifModifiedSince,
             const FileState& state) {
  if (!ifNoneMatch.empty()) return listsTag(ifNoneMatch, entityTag(state));
  return withoutBlanks(ifModifiedSince) == lastModified(state);
}

bool allowsPart(std::string_view ifRange, const FileState& state) {
  return ifRange.empty() || withoutBlanks(ifRange) == entityTag(state) ||
         withoutBlanks(ifRange) == lastModified(state);
}

}  // namespace mtlpublish
