// Formats results as JSON.
#include "mtlpublish/result_json.h"

#include <json/value.h>
#include <json/writer.h>

#include <vector>

#include "rules/printable.h"
#include "rules/utf8.h"

namespace mtlpublish {

namespace {

Json::Value arrayOf(const std::vector<std::string>& texts) {
  Json::Value array(Json::arrayValue);
  for (const std::string& text : texts)
    array.append(mtlrules::validUtf8(text));
  return array;
}

Json::Value objectOf(const Fetches& fetches) {
  Json::Value object(Json::objectValue);
  object["requests"] = Json::UInt64{fetches.requests};
  object["bytes"] = Json::UInt64{fetches.bytes};
  return object;
}

std::string lineOf(const Json::Value& object) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["emitUTF8"] = true;
  return mtlrules::printableJson(Json::writeString(builder, object));
}

void addEdition(const EditionResult& result, Json::Value& object) {
  object["files"] = Json::UInt64{result.files};
  object["bytes"] = Json::UInt64{result.bytes};
  object["id"] = result.id.empty() ? Json::Value() : Json::Value(result.id);
  object["serial"] =
      result.release ? Json::Value(Json::UInt64{result.release->serial}) : Json::Value();
  object["isFirst"] = result.isFirst;
  object["isNew"] = result.isNew;
  const ListChanges changes = result.changes.value_or(ListChanges());
  object["added"] = arrayOf(changes.added);
  object["changed"] = arrayOf(changes.changed);
  object["removed"] = arrayOf(changes.removed);
  object["byKit"] = objectOf(result.byKit);
  object["byModule"] = objectOf(result.byModule);
}

}  // namespace

std::string jsonText(const PublishResult& result) {
  Json::Value object(Json::objectValue);
  object["problems"] = arrayOf(result.problems);
  object["warnings"] = arrayOf(result.warnings);
  object["skipped"] = arrayOf(result.skipped);
  addEdition(result, object);
  Json::Value views(Json::arrayValue);
  for (const EditionResult& edition : result.views) {
    Json::Value view(Json::objectValue);
    view["subPath"] = edition.subPath;
    view["listUrl"] = edition.listUrl;
    addEdition(edition, view);
    views.append(std::move(view));
  }
  object["views"] = std::move(views);
  return lineOf(object);
}

std::string jsonText(const VerifyResult& result) {
  Json::Value object(Json::objectValue);
  object["problems"] = arrayOf(result.problems);
  object["files"] = Json::UInt64{result.files};
  object["bytes"] = Json::UInt64{result.bytes};
  object["withoutDigest"] = Json::UInt64{result.withoutDigest};
  object["withoutSize"] = Json::UInt64{result.withoutSize};
  object["signature"] = result.signature.empty() ? Json::Value() : Json::Value(result.signature);
  return lineOf(object);
}

}  // namespace mtlpublish
