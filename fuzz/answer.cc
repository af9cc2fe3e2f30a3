// Fuzz target: the answer of a server, cut into pieces at every place: it is the same answer, and
// never more than was allowed. The first byte of the input says what was asked for.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "answer_reading.h"
#include "host.h"

namespace {

constexpr std::uint8_t kHead = 1;
constexpr std::uint8_t kCut = 2;
constexpr std::uint8_t kLimited = 4;

bool isSame(const Outcome& one, const Outcome& other) {
  // Of two rules that were broken, either may be noticed first.
  return one.result == other.result && one.status == other.status && one.body == other.body &&
         one.unread == other.unread && one.kept == other.kept;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  if (size == 0) return 0;
  Reading reading;
  reading.toHead = (*bytes & kHead) != 0;
  reading.wholly = (*bytes & kCut) == 0;
  if ((*bytes & kLimited) != 0) reading.mostBodyBytes = 64;
  const std::string_view text(reinterpret_cast<const char*>(bytes) + 1, size - 1);

  const Outcome whole = readInPieces(text, reading, text.size(), 1);
  require(whole.result != Outcome::Result::kMore);
  require(whole.result != Outcome::Result::kComplete || whole.status >= 200);
  require(!reading.toHead || whole.body.empty());
  require(reading.mostBodyBytes < 0 || whole.body.size() <= 64);
  require(isSame(readInPieces(text, reading, 1, 1), whole));
  const std::size_t step = 1 + text.size() / 256;
  for (std::size_t cut = 1; cut < text.size(); cut += step)
    require(isSame(readInPieces(text, reading, cut, text.size()), whole));
  return 0;
}
