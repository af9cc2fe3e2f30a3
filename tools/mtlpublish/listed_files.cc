// Reads the files of a list. What the plug-in would refuse is refused here too, since no run could
// follow it. What the plug-in would write over the client's own files is skipped, because
// comparing it with the list, or restoring it, would never come to an end.
#include "mtlpublish/listed_files.h"

#include <json/reader.h>
#include <json/value.h>

#include <algorithm>

#include "platform/file_names.h"
#include "rules/address.h"
#include "rules/list_entry.h"
#include "rules/own_names.h"
#include "rules/path.h"

namespace mtlpublish {

namespace {

std::optional<std::int64_t> sizeMember(const Json::Value& entry, const char* key) {
  const Json::Value& member = entry[key];
  if (!member.isInt64() || member.asInt64() < 0) return std::nullopt;
  return member.asInt64();
}

// Nobody can compare with what is not a digest.
std::string sha256Member(const Json::Value& entry) {
  const Json::Value& member = entry["sha256"];
  std::string digits = member.isString() ? member.asString() : "";
  const bool isDigest =
      digits.size() == 64 && digits.find_first_not_of("0123456789abcdef") == digits.npos;
  return isDigest ? digits : "";
}

std::optional<std::string> textOf(const Json::Value& member) {
  return member.isString() ? std::optional(member.asString()) : std::nullopt;
}

bool isFetched(const Json::Value& entry) {
  return mtlrules::policyOf(textOf(entry["download"])) != mtlrules::DownloadPolicy::kNever;
}

bool isKnownPolicy(const Json::Value& member) {
  return mtlrules::policyNamed(textOf(member).value_or("")).has_value();
}

/// Adds the entry to the files, or not when clients refuse it or pass it over.
void addEntry(std::size_t number, const Json::Value& entry, std::string_view subPath,
              std::vector<ListedFile>& files, std::vector<ListProblem>& problems) {
  std::string path;
  const auto add = [&](const char* reason, bool isRefused) {
    problems.push_back({number, path, reason, isRefused});
  };
  if (!entry.isObject()) return add("an entry is not an object", true);
  // Up to a zero byte.
  if (entry["path"].isString()) path = entry["path"].asCString();
  if (const std::string mirror = textOf(entry["mirror"]).value_or("");
      path.empty() && !mirror.empty()) {
    if (!mtlrules::isMirrorAddress(mirror))
      add("its \"mirror\" is not an address to publish", false);
    return;
  }
  if (path.empty()) add("has no \"path\"", false);
  if (entry.isMember("download") && !isKnownPolicy(entry["download"])) {
    add("its \"download\" is not always, missing or never", false);
  }
  const std::string sha256 = sha256Member(entry);
  if (entry.isMember("sha256") && sha256.empty()) {
    add("its \"sha256\" is not 64 lower-case hexadecimal digits", false);
  }
  if (path.empty() || !isFetched(entry)) return;
  if (!mtlrules::staysBelow(path, Platform::kHasWindowsNames)) {
    return add("a path leaves the target directory", true);
  }
  const std::optional<std::int64_t> lossySize = sizeMember(entry, "jpegSize");
  const bool isLossy = lossySize.value_or(0) > 0;
  const std::optional<std::string> variant = mtlrules::lossyVariantOf(path);
  if (isLossy && !variant) return add("a lossy map does not end in \".tx\"", true);
  if (mtlrules::isOwnName(path, subPath)) {
    return add("has a name that clients keep for their own files", false);
  }
  files.push_back(
      {path, isLossy ? lossySize : sizeMember(entry, "size"), isLossy ? *variant : path, sha256});
}

}  // namespace

std::string readList(std::string_view text, std::string_view subPath,
                     std::vector<ListedFile>& files) {
  std::vector<ListProblem> problems;
  std::string problem = readList(text, subPath, files, problems);
  const auto refused = std::find_if(problems.begin(), problems.end(),
                                    [](const ListProblem& one) { return one.isRefused; });
  if (!problem.empty() || refused == problems.end()) return problem;
  return refused->path.empty() ? refused->reason : refused->reason + ": \"" + refused->path + "\"";
}

std::string readList(std::string_view text, std::string_view subPath,
                     std::vector<ListedFile>& files, std::vector<ListProblem>& problems) {
  if (text.empty()) return "it is empty";
  try {
    Json::Reader reader;
    Json::Value root;
    if (!reader.parse(text.data(), text.data() + text.size() - 1, root, false)) {
      return "it is not JSON: " + reader.getFormattedErrorMessages();
    }
    if (!root.isArray()) problems.push_back({0, "", "is not an array", false});
    std::size_t number = 0;
    for (const Json::Value& entry : root)
      addEntry(++number, entry, subPath, files, problems);
  } catch (const Json::Exception& exception) {
    return exception.what();
  }
  return "";
}

}  // namespace mtlpublish
