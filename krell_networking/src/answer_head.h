// An AnswerHead reads the status line and the fields of an answer, or its trailers, by means of
// llhttp.
#ifndef KRELL_NETWORKING_ANSWER_HEAD_H_
#define KRELL_NETWORKING_ANSWER_HEAD_H_

#include <llhttp.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "mtllib/transfer_progress.h"
#include "transfer_limits.h"

namespace Krell {
namespace Networking {

/// No rule is broken. The others are those that are reported to hosts.
constexpr HttpRule kNoRule{};

/// Reads one head after another from pieces of any size, each from its first byte to the
/// empty line that ends it. Beside what llhttp refuses, it refuses bytes that no head may
/// hold and everything that leaves the length of the body open to two readings.
///
/// Lines may end in a bare LF and may be folded. What the fields mean for the body is in the
/// accessors once take() has reached the end.
class AnswerHead {
 public:
  AnswerHead();
  AnswerHead(const AnswerHead&) = delete;
  AnswerHead& operator=(const AnswerHead&) = delete;

  /// Forgets everything: a new answer begins.
  void beginAnswer(const AnswerLimits& limits, bool toHead);
  /// The same answer continues with another head, after an interim one.
  void beginNext();
  /// The same answer continues with its trailers.
  void beginTrailers();

  /// Whoever wants the fields of the answer proper: HttpClient::FieldCallback says which.
  class FieldReader {
   public:
    virtual ~FieldReader() = default;
    virtual void onField(const char* name, const char* value) = 0;
  };

  enum class Result { kMore, kComplete, kBroken };

  /// Takes bytes from `*at` on, not beyond the end of the head, and moves `*at` behind them.
  /// `fields` may be null, and is the same for all bytes of a head.
  Result take(const char** at, const char* end, FieldReader* fields = nullptr);

  /// The rule that was broken.
  HttpRule broken() const { return broken_; }
  /// Whether the status line has been read to its end.
  bool hasStatusLine() const { return statusLineRead_; }

  int status() const { return parser_.status_code; }
  /// -1 when none was announced.
  std::int64_t length() const { return length_; }
  bool isChunked() const { return chunked_; }
  bool keepsAlive() const { return keepsAlive_; }

 private:
  enum class Field { kOther, kLength, kCoding };

  static const llhttp_settings_t& settings();
  static int onFieldPart(llhttp_t* parser, const char* bytes, std::size_t size);
  static int onFieldEnd(llhttp_t* parser);
  static int onValuePart(llhttp_t* parser, const char* bytes, std::size_t size);
  static int onValueEnd(llhttp_t* parser);
  static int onEnd(llhttp_t* parser);

  void beginSection();
  bool takeStatusLine(const char* begin, const char* end);
  bool hasForbiddenByte(const char* begin, const char* end);
  bool takeLength();
  bool takeCoding();
  void report();
  HttpRule ruleOf(llhttp_errno_t error) const;
  Result breaks(HttpRule rule);

  llhttp_t parser_{};
  AnswerLimits limits_;
  HttpRule broken_ = kNoRule;
  bool toHead_ = false;
  bool inTrailers_ = false;

  // Of the answer: every head of it and its trailers.
  std::int64_t bytes_ = 0;
  int fields_ = 0;

  // Of the head that is being read.
  std::size_t statusLineBytes_ = 0;  ///< Of its beginning, which has a fixed form.
  bool statusLineRead_ = false;
  bool fieldsBegun_ = false;
  bool lastWasCr_ = false;
  Field field_ = Field::kOther;
  FieldReader* reader_ = nullptr;
  std::string name_;
  std::string value_;
  std::int64_t length_ = -1;
  bool chunked_ = false;
  bool keepsAlive_ = false;
};

}  // namespace Networking
}  // namespace Krell

#endif  // KRELL_NETWORKING_ANSWER_HEAD_H_
