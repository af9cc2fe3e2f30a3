// Whatever the plug-in would refuse is refused here, too: no run could follow.
#include "library_list/listed_files.h"

#include <json/reader.h>
#include <json/value.h>

#include <algorithm>

#include "library_list/list_names.h"

namespace library_list {

namespace {

constexpr std::string_view kMapExtension = ".tx";

std::optional<std::int64_t> sizeMember(const Json::Value& entry, const char* key) {
  const Json::Value& member = entry[key];
  if (!member.isInt64() || member.asInt64() < 0) return std::nullopt;
  return member.asInt64();
}

// Nobody can compare with what is no digest.
std::string sha256Member(const Json::Value& entry) {
  const Json::Value& member = entry["sha256"];
  std::string digits = member.isString() ? member.asString() : "";
  const bool isDigest =
      digits.size() == 64 && digits.find_first_not_of("0123456789abcdef") == digits.npos;
  return isDigest ? digits : "";
}

bool isFetched(const Json::Value& entry) {
  const Json::Value& policy = entry["download"];
  return !policy.isString() || policy.asString() == "always" || policy.asString() == "missing";
}

bool isMap(const std::string& path) {
  return path.size() >= kMapExtension.size() &&
         path.compare(path.size() - kMapExtension.size(), path.npos, kMapExtension) == 0;
}

std::string lossyVariantOf(const std::string& map) {
  return map.substr(0, map.size() - kMapExtension.size()) + ".jpeg.tx";
}

bool isKnownPolicy(const Json::Value& policy) {
  return policy == "always" || policy == "missing" || policy == "never";
}

/// Adds the entry to the files, or not when clients refuse it or pass it over.
void addEntry(std::size_t number, const Json::Value& entry, std::vector<ListedFile>& files,
              std::vector<ListProblem>& problems) {
  std::string path;
  const auto add = [&](const char* reason, bool isRefused) {
    problems.push_back({number, path, reason, isRefused});
  };
  if (!entry.isObject()) return add("an entry is no object", true);
  // Up to a zero byte.
  if (entry["path"].isString()) path = entry["path"].asCString();
  if (path.empty()) add("has no \"path\"", false);
  if (entry.isMember("download") && !isKnownPolicy(entry["download"])) {
    add("its \"download\" is not always, missing or never", false);
  }
  const std::string sha256 = sha256Member(entry);
  if (entry.isMember("sha256") && sha256.empty()) {
    add("its \"sha256\" is not 64 lower-case hexadecimal digits", false);
  }
  if (path.empty() || !isFetched(entry)) return;
  if (!staysBelow(path)) return add("a path leaves the target directory", true);
  const std::optional<std::int64_t> lossySize = sizeMember(entry, "jpegSize");
  const bool isLossy = lossySize.value_or(0) > 0;
  if (isLossy && !isMap(path)) {
    return add("a lossy map does not end in \".tx\"", true);
  }
  files.push_back({path, isLossy ? lossySize : sizeMember(entry, "size"),
                   isLossy ? lossyVariantOf(path) : path, sha256});
}

}  // namespace

std::string readList(std::string_view text, std::vector<ListedFile>& files) {
  std::vector<ListProblem> problems;
  std::string problem = readList(text, files, problems);
  const auto refused = std::find_if(problems.begin(), problems.end(),
                                    [](const ListProblem& one) { return one.isRefused; });
  if (!problem.empty() || refused == problems.end()) return problem;
  return refused->path.empty() ? refused->reason : refused->reason + ": \"" + refused->path + "\"";
}

std::string readList(std::string_view text, std::vector<ListedFile>& files,
                     std::vector<ListProblem>& problems) {
  if (text.empty()) return "it is empty";
  try {
    Json::Reader reader;
    Json::Value root;
    if (!reader.parse(text.data(), text.data() + text.size() - 1, root, false)) {
      return "it is no JSON: " + reader.getFormattedErrorMessages();
    }
    if (!root.isArray()) problems.push_back({0, "", "is no array", false});
    std::size_t number = 0;
    for (const Json::Value& entry : root)
      addEntry(++number, entry, files, problems);
  } catch (const Json::Exception& exception) {
    return exception.what();
  }
  return "";
}

}  // namespace library_list
