// One entry a line, sorted, and a newline that clients drop before they parse.
#include "mtlpublish/file_list.h"

#include <json/value.h>
#include <json/writer.h>

namespace mtlpublish {

namespace {

const char* policyName(DownloadPolicy policy) {
  switch (policy) {
    case DownloadPolicy::kMissing:
      return "missing";
    case DownloadPolicy::kNever:
      return "never";
    case DownloadPolicy::kAlways:
      break;
  }
  return "always";
}

}  // namespace

std::string fileListText(const std::vector<ListEntry>& entries) {
  Json::StreamWriterBuilder writer;
  writer["indentation"] = "";
  writer["emitUTF8"] = true;
  std::string text = "[";
  for (const ListEntry& entry : entries) {
    Json::Value value(Json::objectValue);
    value["path"] = entry.path;
    value["download"] = policyName(entry.policy);
    value["size"] = Json::UInt64{entry.size};
    if (entry.jpegSize != 0) value["jpegSize"] = Json::UInt64{entry.jpegSize};
    text += text.size() == 1 ? "\n" : ",\n";
    text += Json::writeString(writer, value);
  }
  return text + (entries.empty() ? "]\n" : "\n]\n");
}

}  // namespace mtlpublish
