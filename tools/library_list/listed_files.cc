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

std::string addEntry(const Json::Value& entry, std::vector<ListedFile>& files) {
  if (!entry.isObject()) return "an entry is no object";
  // Up to a zero byte.
  const std::string path = entry["path"].isString() ? entry["path"].asCString() : "";
  if (path.empty() || !isFetched(entry)) return "";
  if (!staysBelow(path)) return "a path leaves the target directory: \"" + path + "\"";
  const std::optional<std::int64_t> lossySize = sizeMember(entry, "jpegSize");
  const bool isLossy = lossySize.value_or(0) > 0;
  if (isLossy && !isMap(path)) return "a lossy map does not end in \".tx\": \"" + path + "\"";
  files.push_back({path, isLossy ? lossySize : sizeMember(entry, "size"),
                   isLossy ? lossyVariantOf(path) : path, sha256Member(entry)});
  return "";
}

}  // namespace

std::string readList(std::string_view text, std::vector<ListedFile>& files) {
  if (text.empty()) return "it is empty";
  try {
    Json::Reader reader;
    Json::Value root;
    if (!reader.parse(text.data(), text.data() + text.size() - 1, root, false)) {
      return "it is no JSON: " + reader.getFormattedErrorMessages();
    }
    for (const Json::Value& entry : root) {
      std::string problem = addEntry(entry, files);
      if (!problem.empty()) return problem;
    }
  } catch (const Json::Exception& exception) {
    return exception.what();
  }
  return "";
}

}  // namespace library_list
