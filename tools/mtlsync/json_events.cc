// Writes events as JSON. Each line is flushed, so that a reader can follow the run.
#include "mtlsync/json_events.h"

#include <json/json.h>

#include "mtlhost/utf8.h"
#include "mtlsync/plan_text.h"
#include "mtlsync/status.h"
#include "rules/printable.h"

namespace mtlsync {

namespace {

Json::Value eventNamed(const std::string& event) {
  Json::Value object(Json::objectValue);
  object["event"] = event;
  return object;
}

Json::Value amountValue(const mtlhost::Amount& amount) {
  Json::Value object(Json::objectValue);
  object["files"] = static_cast<Json::Int64>(amount.files);
  object["bytes"] = static_cast<Json::Int64>(amount.bytes);
  return object;
}

const char* signatureKindName(mtlhost::CopySignature::Kind kind) {
  using Kind = mtlhost::CopySignature::Kind;
  switch (kind) {
    case Kind::kNone:
      return "none";
    case Kind::kUnchecked:
      return "unchecked";
    case Kind::kGood:
      return "good";
    case Kind::kBad:
      break;
  }
  return "bad";
}

Json::Value signatureValue(const mtlhost::CopySignature& signature) {
  const auto timeText = [](std::int64_t seconds) {
    return seconds > 0 ? universalTimeText(seconds) : std::string();
  };
  Json::Value object(Json::objectValue);
  object["kind"] = signatureKindName(signature.kind);
  object["needsKeys"] = signature.needsKeys;
  object["problem"] = signature.problem;
  object["keyId"] = signature.keyId;
  object["library"] = signature.libraryName;
  object["serial"] = static_cast<Json::UInt64>(signature.serial);
  object["published"] = timeText(signature.published);
  object["expires"] = timeText(signature.expires.value_or(0));
  return object;
}

void writeLine(std::ostream& stream, const Json::Value& object) {
  static const Json::StreamWriterBuilder kOneLine = [] {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return builder;
  }();
  // Somebody may look at the output itself.
  stream << mtlrules::printableJson(Json::writeString(kOneLine, object)) + '\n' << std::flush;
}

}  // namespace

void JsonEvents::simple(const std::string& event) {
  writeLine(stream_, eventNamed(event));
}

void JsonEvents::number(const std::string& event, int value) {
  Json::Value object = eventNamed(event);
  object["value"] = value;
  writeLine(stream_, object);
}

void JsonEvents::text(const std::string& event, const std::string& text) {
  Json::Value object = eventNamed(event);
  object["text"] = mtlhost::validUtf8(text);
  writeLine(stream_, object);
}

void JsonEvents::taggedError(const std::string& tag, int code, const std::string& text) {
  Json::Value object = eventNamed("taggedError");
  object["tag"] = mtlhost::validUtf8(tag);
  object["code"] = code;
  object["text"] = mtlhost::validUtf8(text);
  writeLine(stream_, object);
}

void JsonEvents::progress(const mtlhost::Progress& progress) {
  Json::Value object = eventNamed("progress");
  object["text"] = mtlhost::validUtf8(progress.text);
  object["permille"] = progress.permille;
  object["bytesDone"] = static_cast<Json::Int64>(progress.bytesDone);
  object["bytesTotal"] = static_cast<Json::Int64>(progress.bytesTotal);
  object["bytesPerSecond"] = static_cast<Json::Int64>(progress.bytesPerSecond);
  object["secondsLeft"] = static_cast<Json::Int64>(progress.secondsLeft);
  writeLine(stream_, object);
}

void JsonEvents::difference(const std::string& path, const std::string& kind,
                            const std::string& text) {
  Json::Value object = eventNamed("difference");
  object["path"] = mtlhost::validUtf8(path);
  object["kind"] = kind;
  object["text"] = mtlhost::validUtf8(text);
  writeLine(stream_, object);
}

void JsonEvents::file(const mtlhost::FileChange& change) {
  Json::Value object = eventNamed("file");
  object["path"] = mtlhost::validUtf8(change.path);
  object["kind"] = nameOf(change.kind);
  object["bytes"] = static_cast<Json::Int64>(change.size.value_or(-1));
  object["source"] = mtlhost::validUtf8(change.source);
  object["text"] = mtlhost::validUtf8(change.reason);
  writeLine(stream_, object);
}

void JsonEvents::plan(const mtlhost::Plan& plan) {
  Json::Value object = eventNamed("plan");
  object["fetched"] = amountValue(plan.fetched);
  object["copied"] = amountValue(plan.copied);
  object["replaced"] = amountValue(plan.replaced);
  object["removed"] = amountValue(plan.removed);
  object["withdrawn"] = amountValue(plan.withdrawn);
  object["unchanged"] = amountValue(plan.unchanged);
  object["unknownSizes"] = static_cast<Json::Int64>(plan.unknownSizes);
  object["spaceNeeded"] = static_cast<Json::Int64>(plan.spaceNeeded);
  object["spaceAvailable"] = static_cast<Json::Int64>(plan.spaceAvailable.value_or(-1));
  writeLine(stream_, object);
}

void JsonEvents::waiting(std::int64_t process) {
  Json::Value object = eventNamed("waiting");
  object["process"] = static_cast<Json::Int64>(process);
  writeLine(stream_, object);
}

void JsonEvents::status(const std::string& stamp, const std::string& since, std::int64_t files,
                        std::int64_t bytes, bool isUnfinished,
                        const mtlhost::CopySignature& signature) {
  Json::Value object = eventNamed("status");
  object["stamp"] = mtlhost::validUtf8(stamp);
  object["since"] = since;
  object["files"] = static_cast<Json::Int64>(files);
  object["bytes"] = static_cast<Json::Int64>(bytes);
  object["unfinished"] = isUnfinished;
  object["signature"] = signatureValue(signature);
  writeLine(stream_, object);
}

void JsonEvents::error(const mtlhost::Errors& chain) {
  Json::Value object = eventNamed("error");
  Json::Value& records = object["chain"] = Json::arrayValue;
  for (const mtlhost::Error& error : chain) {
    Json::Value record(Json::objectValue);
    record["tag"] = mtlhost::validUtf8(error.tag);
    record["code"] = error.code;
    record["message"] = mtlhost::validUtf8(error.message);
    records.append(record);
  }
  const mtlhost::Error& failure = chain.front();
  object["kind"] = mtlhost::nameOf(failure.kind);
  object["about"] = mtlhost::validUtf8(failure.about);
  object["sentence"] = failure.sentence;
  object["hint"] = failure.hint;
  writeLine(stream_, object);
}

void JsonEvents::changes(const mtlhost::Result& result) {
  Json::Value object = eventNamed("changes");
  object["changed"] = result.isChanged;
  object["stamp"] = mtlhost::validUtf8(result.stamp);
  object["fetched"] = amountValue(result.fetched);
  object["copied"] = amountValue(result.copied);
  object["removed"] = amountValue(result.removed);
  object["withdrawn"] = amountValue(result.withdrawn);
  object["unchanged"] = amountValue(result.unchanged);
  object["commitMicroseconds"] = static_cast<Json::Int64>(result.commitTime.count());
  writeLine(stream_, object);
}

void JsonEvents::result(int code, const std::string& status, const std::string& failure,
                        std::int64_t files, std::int64_t bytes) {
  Json::Value object = eventNamed("result");
  object["code"] = code;
  object["status"] = status;
  object["failure"] = failure;
  object["files"] = static_cast<Json::Int64>(files);
  object["bytes"] = static_cast<Json::Int64>(bytes);
  writeLine(stream_, object);
}

}  // namespace mtlsync
