// Writes lists, with one entry a line, sorted, and a final newline that clients drop before they
// parse.
#include "mtlpublish/file_list.h"

#include <json/reader.h>
#include <json/value.h>
#include <json/writer.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <utility>

namespace mtlpublish {

namespace {

constexpr const char* kMirror = "mirror";

bool isMirror(const Json::Value& value) {
  return value.isObject() && value[kMirror].isString() && !value.isMember("path");
}

Json::Value jsonOf(const ListEntry& entry) {
  Json::Value value(Json::objectValue);
  value["path"] = entry.path;
  value["download"] = mtlrules::wordFor(entry.policy);
  value["size"] = Json::UInt64{entry.size};
  if (entry.jpegSize != 0) value["jpegSize"] = Json::UInt64{entry.jpegSize};
  if (!entry.sha256.empty()) value["sha256"] = entry.sha256;
  return value;
}

bool readEntry(const Json::Value& value, ListEntry& entry) {
  if (!value.isObject() || !value["path"].isString() || !value["size"].isUInt64()) return false;
  const Json::Value word = value.get("download", "");
  const auto policy = mtlrules::policyNamed(word.isString() ? word.asString() : "");
  const Json::Value jpegSize = value.get("jpegSize", 0);
  const Json::Value sha256 = value.get("sha256", "");
  if (!policy || !jpegSize.isUInt64() || !sha256.isString()) return false;
  entry = {value["path"].asString(), *policy, value["size"].asUInt64(), jpegSize.asUInt64(),
           sha256.asString()};
  return true;
}

}  // namespace

std::string fileListText(const std::vector<ListEntry>& entries,
                         const std::vector<std::string>& mirrors) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["emitUTF8"] = true;
  const std::unique_ptr<Json::StreamWriter> writer(builder.newStreamWriter());
  std::ostringstream text;
  const char* separator = "[\n";
  const auto write = [&](const Json::Value& value) {
    text << std::exchange(separator, ",\n");
    writer->write(value, &text);
  };
  for (const std::string& address : mirrors) {
    Json::Value value(Json::objectValue);
    value[kMirror] = address;
    write(value);
  }
  for (const ListEntry& entry : entries)
    write(jsonOf(entry));
  text << (entries.empty() && mirrors.empty() ? "[]\n" : "\n]\n");
  return text.str();
}

std::optional<std::vector<ListEntry>> parseFileList(std::string_view text) {
  const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  Json::Value root;
  std::string ignored;
  try {
    if (!reader->parse(text.data(), text.data() + text.size(), &root, &ignored)) return {};
  } catch (const Json::Exception&) {
    // It is nested too deeply.
    return {};
  }
  if (!root.isArray()) return {};
  std::vector<ListEntry> entries;
  entries.reserve(root.size());
  for (const Json::Value& value : root) {
    if (isMirror(value)) continue;
    if (!readEntry(value, entries.emplace_back())) return {};
  }
  std::sort(entries.begin(), entries.end(),
            [](const ListEntry& a, const ListEntry& b) { return a.path < b.path; });
  return entries;
}

}  // namespace mtlpublish
