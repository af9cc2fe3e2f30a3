// Whatever the plug-in would refuse is refused here, too: no run could follow.
#include "library_list/listed_files.h"

#include <json/reader.h>
#include <json/value.h>

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

/// Adds the entry to one of them, or to none when clients pass it over.
void addEntry(const Json::Value& entry, std::vector<ListedFile>& files,
              std::vector<RefusedEntry>& refused) {
  if (!entry.isObject()) return refused.push_back({"", "an entry is no object"});
  // Up to a zero byte.
  const std::string path = entry["path"].isString() ? entry["path"].asCString() : "";
  if (path.empty() || !isFetched(entry)) return;
  if (!staysBelow(path)) return refused.push_back({path, "a path leaves the target directory"});
  const std::optional<std::int64_t> lossySize = sizeMember(entry, "jpegSize");
  const bool isLossy = lossySize.value_or(0) > 0;
  if (isLossy && !isMap(path)) {
    return refused.push_back({path, "a lossy map does not end in \".tx\""});
  }
  files.push_back({path, isLossy ? lossySize : sizeMember(entry, "size"),
                   isLossy ? lossyVariantOf(path) : path, sha256Member(entry)});
}

}  // namespace

std::string readList(std::string_view text, std::vector<ListedFile>& files) {
  std::vector<RefusedEntry> refused;
  std::string problem = readList(text, files, refused);
  if (!problem.empty() || refused.empty()) return problem;
  const auto& [path, reason] = refused.front();
  return path.empty() ? reason : reason + ": \"" + path + "\"";
}

std::string readList(std::string_view text, std::vector<ListedFile>& files,
                     std::vector<RefusedEntry>& refused) {
  if (text.empty()) return "it is empty";
  try {
    Json::Reader reader;
    Json::Value root;
    if (!reader.parse(text.data(), text.data() + text.size() - 1, root, false)) {
      return "it is no JSON: " + reader.getFormattedErrorMessages();
    }
    for (const Json::Value& entry : root)
      addEntry(entry, files, refused);
  } catch (const Json::Exception& exception) {
    return exception.what();
  }
  return "";
}

}  // namespace library_list
