// Reads the policies and names of a list's entries. A list may have been written by hand, so
// unknown words are expected.
#include "rules/list_entry.h"

#include <algorithm>
#include <array>
#include <utility>

namespace mtlrules {

namespace {

constexpr std::array<std::pair<DownloadPolicy, const char*>, 3> kWords{
    {{DownloadPolicy::kAlways, "always"},
     {DownloadPolicy::kMissing, "missing"},
     {DownloadPolicy::kNever, "never"}}};

constexpr std::string_view kMapExtension = ".tx";
constexpr std::string_view kVariantExtension = ".jpeg.tx";

// The name with another extension; none when it does not end in `extension`.
std::optional<std::string> withExtension(std::string_view name, std::string_view extension,
                                         std::string_view other) {
  const bool ends =
      name.size() >= extension.size() && name.substr(name.size() - extension.size()) == extension;
  if (!ends) return std::nullopt;
  name.remove_suffix(extension.size());
  return std::string(name).append(other);
}

}  // namespace

const char* wordFor(DownloadPolicy policy) {
  return std::find_if(kWords.begin(), kWords.end(),
                      [policy](const auto& pair) { return pair.first == policy; })
      ->second;
}

std::optional<DownloadPolicy> policyNamed(std::string_view word) {
  const auto* const found = std::find_if(kWords.begin(), kWords.end(),
                                         [word](const auto& pair) { return pair.second == word; });
  return found != kWords.end() ? std::optional(found->first) : std::nullopt;
}

DownloadPolicy policyOf(std::optional<std::string_view> word) {
  if (!word) return DownloadPolicy::kAlways;
  return policyNamed(*word).value_or(DownloadPolicy::kNever);
}

std::optional<std::string> lossyVariantOf(std::string_view map) {
  return withExtension(map, kMapExtension, kVariantExtension);
}

std::optional<std::string> mapOfVariant(std::string_view variant) {
  return withExtension(variant, kVariantExtension, kMapExtension);
}

}  // namespace mtlrules
