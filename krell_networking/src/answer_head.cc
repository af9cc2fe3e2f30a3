// Reads heads with llhttp in its lenient mode, and rejects what llhttp lets pass but must not be
// accepted: a CR that ends a line whatever follows it, and zero bytes inside values.
#include "answer_head.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string_view>

namespace Krell {
namespace Networking {

namespace {

// '#' stands for a digit.
constexpr std::string_view kStatusLineBegin = "HTTP/1.# ###";

// Longer than the names and values that matter.
constexpr std::size_t kKeptNameBytes = 32;
constexpr std::size_t kKeptValueBytes = 64;
// Of other fields, for those who want them.
constexpr std::size_t kReportedValueBytes = 1024;

constexpr const char* kBlanks = " \t";

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

char lowerCase(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string_view trimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

void appendLowerCase(std::string& text, const char* bytes, std::size_t size, std::size_t most) {
  for (std::size_t i = 0; i < size && text.size() < most; ++i)
    text += lowerCase(bytes[i]);
}

}  // namespace

AnswerHead::AnswerHead() {
  // For good: nothing may be thrown through llhttp.
  name_.reserve(kKeptNameBytes);
  value_.reserve(kReportedValueBytes);
}

const llhttp_settings_t& AnswerHead::settings() {
  static const llhttp_settings_t instance = [] {
    llhttp_settings_t callbacks;
    llhttp_settings_init(&callbacks);
    callbacks.on_header_field = &AnswerHead::onFieldPart;
    callbacks.on_header_field_complete = &AnswerHead::onFieldEnd;
    callbacks.on_header_value = &AnswerHead::onValuePart;
    callbacks.on_header_value_complete = &AnswerHead::onValueEnd;
    callbacks.on_headers_complete = &AnswerHead::onEnd;
    return callbacks;
  }();
  return instance;
}

void AnswerHead::beginAnswer(const AnswerLimits& limits, bool toHead) {
  limits_ = limits;
  toHead_ = toHead;
  bytes_ = 0;
  fields_ = 0;
  beginNext();
}

void AnswerHead::beginNext() {
  inTrailers_ = false;
  statusLineBytes_ = 0;
  statusLineRead_ = false;
  length_ = -1;
  chunked_ = false;
  keepsAlive_ = false;
  beginSection();
}

// To llhttp, trailers are the fields of another answer.
void AnswerHead::beginTrailers() {
  constexpr std::string_view kStatusLine = "HTTP/1.1 200\r\n";
  inTrailers_ = true;
  const auto status = parser_.status_code;
  beginSection();
  llhttp_execute(&parser_, kStatusLine.data(), kStatusLine.size());
  parser_.status_code = status;
}

void AnswerHead::beginSection() {
  broken_ = kNoRule;
  fieldsBegun_ = false;
  lastWasCr_ = false;
  field_ = Field::kOther;
  name_.clear();
  value_.clear();
  llhttp_init(&parser_, HTTP_RESPONSE, &settings());
  // Of HTTP/1.x every x is good, and a length in the trailers means nothing.
  parser_.lenient_flags = LENIENT_HEADERS | LENIENT_VERSION;
  if (inTrailers_) parser_.lenient_flags |= LENIENT_CHUNKED_LENGTH;
  parser_.data = this;
}

AnswerHead::Result AnswerHead::take(const char** at, const char* end, FieldReader* fields) {
  reader_ = fields;
  const char* const begin = *at;
  if (begin == end) return Result::kMore;
  if (!inTrailers_ && !takeStatusLine(begin, end)) return breaks(HTTP_RULE_STATUS_LINE);
  if (inTrailers_ && !fieldsBegun_) {
    fieldsBegun_ = true;
    if (*begin == ' ' || *begin == '\t') return breaks(HTTP_RULE_FIELD);
  }
  if (broken_ != kNoRule) return Result::kBroken;

  const llhttp_errno_t error =
      llhttp_execute(&parser_, begin, static_cast<std::size_t>(end - begin));
  const bool complete = error == HPE_PAUSED;
  const char* const stopped = error == HPE_OK ? end : llhttp_get_error_pos(&parser_);
  // What made llhttp stop is looked at, too.
  const char* const seen = error == HPE_OK || complete ? stopped : std::min(stopped + 1, end);
  if (hasForbiddenByte(begin, seen)) return breaks(HTTP_RULE_FORBIDDEN_BYTE);
  if (error != HPE_OK && !complete) return breaks(ruleOf(error));
  *at = stopped;
  bytes_ += stopped - begin;
  if (bytes_ > limits_.headerBytes) return breaks(HTTP_RULE_HEADER_SIZE);
  return complete ? Result::kComplete : Result::kMore;
}

// Checks the part of the status line whose form is fixed, and that what follows the line is
// not the continuation of it. A wrong byte is noticed when it arrives.
bool AnswerHead::takeStatusLine(const char* begin, const char* end) {
  for (; begin != end && statusLineBytes_ <= kStatusLineBegin.size(); ++begin) {
    const std::size_t place = statusLineBytes_++;
    if (place == kStatusLineBegin.size()) {
      if (*begin != ' ' && *begin != '\r' && *begin != '\n') return false;
      break;
    }
    const char expected = kStatusLineBegin[place];
    if (expected == '#' ? !isDigit(*begin) : *begin != expected) return false;
    // There is no status below 100.
    if (place == kStatusLineBegin.size() - 3 && *begin == '0') return false;
  }
  if (!statusLineRead_ && begin != end) {
    const void* lineEnd = std::memchr(begin, '\n', static_cast<std::size_t>(end - begin));
    if (lineEnd == nullptr) return true;
    statusLineRead_ = true;
    begin = static_cast<const char*>(lineEnd) + 1;
  }
  if (statusLineRead_ && !fieldsBegun_ && begin != end) {
    fieldsBegun_ = true;
    if (*begin == ' ' || *begin == '\t') broken_ = HTTP_RULE_FIELD;
  }
  return true;
}

bool AnswerHead::hasForbiddenByte(const char* begin, const char* end) {
  if (begin == end) return false;
  if (lastWasCr_ && *begin != '\n') return true;
  lastWasCr_ = end[-1] == '\r';
  const auto size = static_cast<std::size_t>(end - begin);
  if (std::memchr(begin, '\0', size) != nullptr) return true;
  const char* at = begin;
  while ((at = static_cast<const char*>(
              std::memchr(at, '\r', static_cast<std::size_t>(end - at)))) != nullptr) {
    if (++at != end && *at != '\n') return true;
  }
  return false;
}

AnswerHead::Result AnswerHead::breaks(HttpRule rule) {
  broken_ = rule;
  return Result::kBroken;
}

HttpRule AnswerHead::ruleOf(llhttp_errno_t error) const {
  switch (error) {
    case HPE_USER:
    case HPE_CB_HEADER_FIELD_COMPLETE:
    case HPE_CB_HEADER_VALUE_COMPLETE:
      return broken_;
    case HPE_UNEXPECTED_CONTENT_LENGTH:
    case HPE_INVALID_CONTENT_LENGTH:
      return HTTP_RULE_LENGTH;
    case HPE_INVALID_CONSTANT:
    case HPE_INVALID_VERSION:
    case HPE_INVALID_STATUS:
      return HTTP_RULE_STATUS_LINE;
    default:
      return HTTP_RULE_FIELD;
  }
}

int AnswerHead::onFieldPart(llhttp_t* parser, const char* bytes, std::size_t size) {
  auto& head = *static_cast<AnswerHead*>(parser->data);
  appendLowerCase(head.name_, bytes, size, kKeptNameBytes);
  return 0;
}

int AnswerHead::onFieldEnd(llhttp_t* parser) {
  auto& head = *static_cast<AnswerHead*>(parser->data);
  if (++head.fields_ > head.limits_.headerFields) {
    head.broken_ = HTTP_RULE_FIELD_COUNT;
    return -1;
  }
  const std::string_view name = trimmed(head.name_);
  head.field_ = name == "content-length"      ? Field::kLength
                : name == "transfer-encoding" ? Field::kCoding
                                              : Field::kOther;
  head.value_.clear();
  // The same length twice is lawful, but not to llhttp.
  if (head.field_ == Field::kLength) {
    parser->flags = static_cast<std::uint16_t>(parser->flags & ~F_CONTENT_LENGTH);
    parser->content_length = 0;
  }
  return 0;
}

int AnswerHead::onValuePart(llhttp_t* parser, const char* bytes, std::size_t size) {
  auto& head = *static_cast<AnswerHead*>(parser->data);
  if (head.field_ == Field::kOther && head.reader_ == nullptr) return 0;
  const std::size_t most = head.field_ == Field::kOther ? kReportedValueBytes : kKeptValueBytes;
  head.value_.append(bytes, std::min(size, most - head.value_.size()));
  return 0;
}

int AnswerHead::onValueEnd(llhttp_t* parser) {
  auto& head = *static_cast<AnswerHead*>(parser->data);
  if (!head.inTrailers_ && head.field_ == Field::kLength && !head.takeLength()) {
    head.broken_ = HTTP_RULE_LENGTH;
    return -1;
  }
  if (!head.inTrailers_ && head.field_ == Field::kCoding && !head.takeCoding()) {
    head.broken_ = HTTP_RULE_CODING;
    return -1;
  }
  head.report();
  head.name_.clear();
  return 0;
}

void AnswerHead::report() {
  constexpr int kFirstFinal = 200;
  if (reader_ == nullptr || inTrailers_ || parser_.status_code < kFirstFinal) return;
  if (name_.size() == kKeptNameBytes || value_.size() == kReportedValueBytes) return;
  for (std::string* text : {&name_, &value_}) {
    text->erase(text->find_last_not_of(kBlanks) + 1);
    text->erase(0, text->find_first_not_of(kBlanks));
  }
  reader_->onField(name_.c_str(), value_.c_str());
}

bool AnswerHead::takeLength() {
  constexpr std::int64_t kHighest = std::numeric_limits<std::int64_t>::max();
  const std::string_view digits = trimmed(value_);
  if (digits.empty() || value_.size() == kKeptValueBytes) return false;
  std::int64_t number = 0;
  for (const char c : digits) {
    if (!isDigit(c)) return false;
    const int digit = c - '0';
    if (number > (kHighest - digit) / 10) return false;
    number = number * 10 + digit;
  }
  if (length_ >= 0 && length_ != number) return false;
  length_ = number;
  return true;
}

bool AnswerHead::takeCoding() {
  constexpr std::string_view kChunked = "chunked";
  const std::string_view coding = trimmed(value_);
  const bool isKnown =
      std::equal(coding.begin(), coding.end(), kChunked.begin(), kChunked.end(),
                 [](char given, char expected) { return lowerCase(given) == expected; });
  if (chunked_ || !isKnown) return false;
  chunked_ = true;
  return true;
}

// Stops llhttp: what follows is a body, which it does not parse.
int AnswerHead::onEnd(llhttp_t* parser) {
  auto& head = *static_cast<AnswerHead*>(parser->data);
  if (head.inTrailers_) return HPE_PAUSED;
  if (head.toHead_) parser->flags |= F_SKIPBODY;
  // Chunks are none of HTTP/1.0: whoever sends them there is not trusted with more.
  head.keepsAlive_ =
      llhttp_should_keep_alive(parser) != 0 && (!head.chunked_ || parser->http_minor > 0);
  return HPE_PAUSED;
}

}  // namespace Networking
}  // namespace Krell
