// Reads an answer: decides which part of it comes next and where it ends.
#include "answer.h"

#include <algorithm>

namespace Krell {
namespace Networking {

namespace {

constexpr int kSwitchingProtocols = 101;
constexpr int kOk = 200;
constexpr int kNoContent = 204;
constexpr int kNotModified = 304;

}  // namespace

void Answer::begin(const AnswerLimits& limits, bool toHead, std::int64_t mostBodyBytes) {
  limits_ = limits;
  toHead_ = toHead;
  stage_ = Stage::kHead;
  interimAnswers_ = 0;
  limited_ = mostBodyBytes >= 0;
  allowed_ = mostBodyBytes;
  broken_ = HttpRule{};
  head_.beginAnswer(limits, toHead);
}

Answer::Result Answer::take(const char** at, const char* end, Reader& reader) {
  Result result = Result::kMore;
  while (result == Result::kMore && *at != end) {
    result = stage_ == Stage::kHead || stage_ == Stage::kTrailers ? takeHead(at, end, reader)
                                                                  : takeBody(at, end, reader);
  }
  return result;
}

Answer::Result Answer::takeEnd(bool wholly) const {
  if (stage_ == Stage::kUntilEnd && wholly) return Result::kComplete;
  const bool nothing = stage_ == Stage::kHead && interimAnswers_ == 0 && !head_.hasStatusLine();
  return nothing ? Result::kNothing : Result::kTruncated;
}

Answer::Result Answer::takeHead(const char** at, const char* end, Reader& reader) {
  switch (head_.take(at, end, reader.wantsFields() ? &reader : nullptr)) {
    case AnswerHead::Result::kMore:
      return Result::kMore;
    case AnswerHead::Result::kBroken:
      return breaks(head_.broken());
    case AnswerHead::Result::kComplete:
      break;
  }
  if (stage_ == Stage::kTrailers) {
    stage_ = Stage::kComplete;
    return Result::kComplete;
  }
  return takeHeadEnd(reader);
}

Answer::Result Answer::takeHeadEnd(Reader& reader) {
  const int status = head_.status();
  if (status == kSwitchingProtocols) return breaks(HTTP_RULE_UPGRADE);
  if (status < kOk) {
    if (++interimAnswers_ > limits_.interimAnswers) return breaks(HTTP_RULE_INTERIM_ANSWERS);
    head_.beginNext();
    return Result::kMore;
  }
  reader.onStatus(status);
  if (toHead_ || status == kNoContent || status == kNotModified) {
    stage_ = Stage::kComplete;
    return Result::kComplete;
  }
  if (head_.isChunked()) {
    // llhttp refuses both together.
    stage_ = Stage::kChunks;
    chunks_.begin(limits_.chunkExtensionBytes);
    return Result::kMore;
  }
  left_ = head_.length();
  stage_ = left_ < 0 ? Stage::kUntilEnd : Stage::kLength;
  if (limited_ && left_ > allowed_) return breaks(HTTP_RULE_BODY_SIZE);
  if (left_ != 0) return Result::kMore;
  stage_ = Stage::kComplete;
  return Result::kComplete;
}

Answer::Result Answer::takeBody(const char** at, const char* end, Reader& reader) {
  if (stage_ == Stage::kChunks) return takeChunks(at, end, reader);
  auto size = static_cast<std::size_t>(end - *at);
  if (stage_ == Stage::kLength) {
    size = static_cast<std::size_t>(std::min<std::int64_t>(left_, end - *at));
    left_ -= static_cast<std::int64_t>(size);
  }
  const char* const data = *at;
  *at += size;
  const Result result = deliver(data, size, reader);
  if (result != Result::kMore || stage_ != Stage::kLength || left_ > 0) return result;
  stage_ = Stage::kComplete;
  return Result::kComplete;
}

Answer::Result Answer::takeChunks(const char** at, const char* end, Reader& reader) {
  switch (chunks_.take(at, end)) {
    case ChunkedBody::Result::kMore:
      return Result::kMore;
    case ChunkedBody::Result::kData:
      return deliver(*at - chunks_.dataSize(), chunks_.dataSize(), reader);
    case ChunkedBody::Result::kBroken:
      return breaks(chunks_.broken());
    case ChunkedBody::Result::kComplete:
      break;
  }
  stage_ = Stage::kTrailers;
  head_.beginTrailers();
  return Result::kMore;
}

// Not a byte more than the caller allowed.
Answer::Result Answer::deliver(const char* bytes, std::size_t size, Reader& reader) {
  const auto count = static_cast<std::int64_t>(size);
  const bool tooMany = limited_ && count > allowed_;
  const auto wanted = tooMany ? static_cast<std::size_t>(allowed_) : size;
  if (limited_) allowed_ -= static_cast<std::int64_t>(wanted);
  if (wanted > 0 && !reader.onBody(bytes, wanted)) return Result::kStopped;
  return tooMany ? breaks(HTTP_RULE_BODY_SIZE) : Result::kMore;
}

Answer::Result Answer::breaks(HttpRule rule) {
  broken_ = rule;
  return Result::kBroken;
}

}  // namespace Networking
}  // namespace Krell
