// Parses the framing of chunks byte by byte; data is passed on in one piece.
#include "chunked_body.h"

#include <algorithm>
#include <limits>

namespace Krell {
namespace Networking {

namespace {

// As many as a size below 2^63 needs; more are zeros before it.
constexpr int kMostDigits = 16;

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

void ChunkedBody::begin(std::int64_t mostExtensionBytes) {
  *this = ChunkedBody();
  extensionBytesLeft_ = mostExtensionBytes;
}

ChunkedBody::Result ChunkedBody::take(const char** at, const char* end) {
  while (*at != end) {
    if (state_ == State::kData) {
      const auto size = static_cast<std::size_t>(std::min<std::int64_t>(left_, end - *at));
      left_ -= static_cast<std::int64_t>(size);
      if (left_ == 0) state_ = State::kDataEnd;
      *at += size;
      dataSize_ = size;
      return Result::kData;
    }
    if (!takeFraming(*(*at)++)) {
      if (broken_ == HttpRule{}) broken_ = HTTP_RULE_CHUNK;
      return Result::kBroken;
    }
    if (complete_) return Result::kComplete;
  }
  return Result::kMore;
}

bool ChunkedBody::takeFraming(char c) {
  switch (state_) {
    case State::kSize:
      return takeSizeDigit(c) || (digits_ > 0 && takeAfterSize(c));
    case State::kPadding:
      return takeAfterSize(c);
    case State::kExtension:
      if (c == '\r' || c == '\n') return takeAfterSize(c);
      return c != '\0' && countExtension();
    case State::kSizeLf:
      return c == '\n' && endSizeLine();
    case State::kDataEnd:
      if (c == '\r') {
        state_ = State::kDataLf;
        return true;
      }
      [[fallthrough]];
    case State::kDataLf:
      digits_ = 0;
      state_ = State::kSize;
      return c == '\n';
    case State::kData:
      break;
  }
  return false;
}

bool ChunkedBody::takeSizeDigit(char c) {
  const int digit = hexDigit(c);
  if (digit < 0) return false;
  if (left_ > (std::numeric_limits<std::int64_t>::max() - digit) / 16) return false;
  left_ = left_ * 16 + digit;
  return ++digits_ <= kMostDigits || countExtension();
}

bool ChunkedBody::takeAfterSize(char c) {
  if (c == '\n') return endSizeLine();
  if (c == '\r') {
    state_ = State::kSizeLf;
    return true;
  }
  if (c != ';' && c != ' ' && c != '\t') return false;
  state_ = c == ';' ? State::kExtension : State::kPadding;
  return countExtension();
}

bool ChunkedBody::endSizeLine() {
  complete_ = left_ == 0;
  state_ = State::kData;
  return true;
}

// Whatever a size's line holds beside the size is counted, so that no line is endless.
bool ChunkedBody::countExtension() {
  if (--extensionBytesLeft_ >= 0) return true;
  broken_ = HTTP_RULE_CHUNK_EXTENSIONS;
  return false;
}

}  // namespace Networking
}  // namespace Krell
