// An Answer reads one HTTP response, from its first byte to its last.
#ifndef KRELL_NETWORKING_ANSWER_H_
#define KRELL_NETWORKING_ANSWER_H_

#include <cstddef>
#include <cstdint>

#include "answer_head.h"
#include "chunked_body.h"
#include "mtllib/transfer_progress.h"
#include "transfer_limits.h"

namespace Krell {
namespace Networking {

/// Takes bytes as they arrive, in pieces of any size, and finds status and body in them.
/// Strict wherever a mistake could give a body other bytes or no end.
class Answer {
 public:
  /// Receives the parts of an answer; the bytes are valid only during a call.
  class Reader : public AnswerHead::FieldReader {
   public:
    virtual bool wantsFields() const { return false; }
    void onField(const char* /*name*/, const char* /*value*/) override {}
    /// The status of the answer proper, before its body.
    virtual void onStatus(int status) = 0;
    /// False ends the answer as stopped.
    virtual bool onBody(const char* bytes, std::size_t size) = 0;
  };

  enum class Result {
    kMore,       ///< The answer continues.
    kComplete,   ///< This was its last byte.
    kBroken,     ///< It broke a rule.
    kStopped,    ///< Its reader wants no more.
    kNothing,    ///< It ended before its status line did.
    kTruncated,  ///< It ended before its body did.
  };

  /// `toHead`: to a HEAD request, so without a body. `mostBodyBytes`: -1 for any number.
  void begin(const AnswerLimits& limits, bool toHead, std::int64_t mostBodyBytes);

  /// Takes bytes from `*at` on, not beyond the end of the answer, and moves `*at` behind them.
  Result take(const char** at, const char* end, Reader& reader);

  /// The connection has ended; `wholly` says that its peer meant it to.
  Result takeEnd(bool wholly) const;

  /// The rule that was broken.
  HttpRule broken() const { return broken_; }
  /// Whether the header proper is complete.
  bool hasHeader() const { return stage_ != Stage::kHead; }
  /// Whether all that comes next, but for what is behind the answer, is its body.
  bool isInBody() const { return stage_ == Stage::kLength; }
  /// Whether the connection may carry another answer after this one.
  bool keepsConnection() const { return head_.keepsAlive(); }

 private:
  enum class Stage { kHead, kLength, kChunks, kTrailers, kUntilEnd, kComplete };

  Result takeHead(const char** at, const char* end, Reader& reader);
  Result takeHeadEnd(Reader& reader);
  Result takeBody(const char** at, const char* end, Reader& reader);
  Result takeChunks(const char** at, const char* end, Reader& reader);
  Result deliver(const char* bytes, std::size_t size, Reader& reader);
  Result breaks(HttpRule rule);

  AnswerHead head_;
  ChunkedBody chunks_;
  Stage stage_ = Stage::kHead;
  AnswerLimits limits_;
  bool toHead_ = false;
  int interimAnswers_ = 0;
  std::int64_t left_ = 0;     ///< Of a body with a length.
  std::int64_t allowed_ = 0;  ///< Of the body, for the caller.
  bool limited_ = false;
  HttpRule broken_{};
};

}  // namespace Networking
}  // namespace Krell

#endif  // KRELL_NETWORKING_ANSWER_H_
