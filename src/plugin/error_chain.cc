// Makes and releases error chains. Their records are plain malloc blocks, each freed by the
// function that is stored in it.
#include "plugin/error_chain.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "qutils/text_builder.h"

namespace {

using QUtils::boundedCopy;
using QUtils::CharString;
using QUtils::TextBuilder;

constexpr const char* kNoError = "No error";
constexpr const char* kSeparator = " | ";

// A message keeps one byte less than a terminated field could hold.
constexpr std::int32_t kMessageLimit = sizeof(ErrorRecord::message) - 1;

ErrorRecord* makeRecord(const char* tag, std::int32_t code, const char* format,
                        std::va_list arguments) {
  void* block = std::malloc(sizeof(ErrorRecord));
  if (block == nullptr) return nullptr;
  auto* record = new (block) ErrorRecord{};
  record->deleter = std::free;
  record->refCount = 1;
  if (format != nullptr) boundedFormatV(record->message, kMessageLimit, format, arguments);
  record->tag = tag;
  record->code = code;
  return record;
}

std::int32_t formatRecord(const ErrorRecord& record, char* buffer, std::int32_t size) {
  if (record.message[0] != '\0') {
    return boundedFormat(buffer, size, "%d: %s", record.code, record.message);
  }
  return boundedFormat(buffer, size, "%d", record.code);
}

}  // namespace

void setError(ErrorChain& out, const char* tag, std::int32_t code, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  ErrorRecord* record = makeRecord(tag, code, format, arguments);
  va_end(arguments);
  if (record != nullptr) out.head = record;
}

void pushError(ErrorChain& out, const char* tag, std::int32_t code, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  ErrorRecord* record = makeRecord(tag, code, format, arguments);
  va_end(arguments);
  if (record == nullptr) return;
  record->next = out.head;
  out.head = record;
}

ErrorChain makeError(const char* tag, std::int32_t code, const char* format, ...) {
  ErrorChain chain;
  std::va_list arguments;
  va_start(arguments, format);
  chain.head = makeRecord(tag, code, format, arguments);
  va_end(arguments);
  return chain;
}

std::int32_t errorCode(const ErrorChain& chain, std::int32_t index) {
  const ErrorRecord* record = chain.head;
  for (; record != nullptr && index > 0; --index)
    record = record->next;
  return record != nullptr ? record->code : 0;
}

void formatErrorChain(const ErrorChain& chain, char* buffer, std::int32_t size) {
  if (size < 1) return;
  if (!chain) {
    boundedCopy(buffer, kNoError, size);
    return;
  }
  char* position = buffer;
  std::int32_t room = size;
  *position = '\0';
  const auto advance = [&](std::int32_t count) {
    position += count;
    room -= count;
  };
  for (const ErrorRecord* record = chain.head; record != nullptr; record = record->next) {
    if (room < 2) return;
    if (record != chain.head) {
      advance(static_cast<std::int32_t>(boundedCopy(position, kSeparator, room)) - 1);
    }
    if (record->tag != nullptr) {
      const std::int32_t count = boundedFormat(position, room, "[%s] ", record->tag);
      if (count < 0) break;
      advance(count);
    }
    const std::int32_t count = formatRecord(*record, position, room);
    if (count < 0) break;
    advance(count);
  }
  *position = '\0';  // A piece that did not fit is dropped whole.
}

CharString errorChainToString(const ErrorChain& chain) {
  if (!chain) return CharString(kNoError);
  TextBuilder text(128, 1.7F);
  for (const ErrorRecord* record = chain.head; record != nullptr; record = record->next) {
    if (record != chain.head) text.append(kSeparator);
    if (record->tag != nullptr) {
      text.append("[");
      text.append(record->tag);
      text.append("] ");
    }
    text.appendInteger(record->code, 10);
    if (record->message[0] != '\0') {
      text.append(": ");
      text.append(record->message);
    }
  }
  return text.releaseText();
}
