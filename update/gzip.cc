// Compresses and decompresses with zlib, in pieces, because zlib's counters have 32 bits.
#include "update/gzip.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <new>
#include <utility>

namespace mtlupdate {

namespace {

constexpr std::size_t kMostAtOnce = 65536;
/// The largest window, with gzip's header and trailer around.
constexpr int kGzip = 15 + 16;

Failure damaged() {
  return {Failure::Kind::kContent, "it is not whole, or not in the format of gzip"};
}

/// zlib does not write there.
Bytef* bytesOf(std::string_view text) {
  return reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
}

/// The front of a text, which is taken off.
std::string_view takePiece(std::string_view& text) {
  const std::string_view piece = text.substr(0, kMostAtOnce);
  text.remove_prefix(piece.size());
  return piece;
}

}  // namespace

struct Gunzip::State {
  explicit State(Sink taker) : sink(std::move(taker)) {
    isReady = inflateInit2(&stream, kGzip) == Z_OK;
  }
  ~State() {
    if (isReady) inflateEnd(&stream);
  }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  Outcome unpack(std::string_view piece);

  Sink sink;
  z_stream stream{};
  bool isReady = false;
  bool isAtEnd = false;
  std::array<char, kMostAtOnce> room;
};

Outcome Gunzip::State::unpack(std::string_view piece) {
  stream.next_in = bytesOf(piece);
  stream.avail_in = static_cast<uInt>(piece.size());
  bool isFull = false;
  // What is unpacked may have filled the room before all of the piece was looked at.
  while (stream.avail_in > 0 || isFull) {
    if (isAtEnd) return stream.avail_in > 0 ? Outcome(damaged()) : Outcome();
    stream.next_out = reinterpret_cast<Bytef*>(room.data());
    stream.avail_out = static_cast<uInt>(room.size());
    const int result = inflate(&stream, Z_NO_FLUSH);
    if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR) return damaged();
    isAtEnd = result == Z_STREAM_END;
    isFull = stream.avail_out == 0;
    const std::size_t count = room.size() - stream.avail_out;
    if (count == 0 && result == Z_BUF_ERROR) return {};
    if (count == 0) continue;
    if (Outcome failure = sink({room.data(), count})) return failure;
  }
  return {};
}

Gunzip::Gunzip(Sink sink) : state_(std::make_unique<State>(std::move(sink))) {}
Gunzip::~Gunzip() = default;
Gunzip::Gunzip(Gunzip&& other) noexcept = default;
Gunzip& Gunzip::operator=(Gunzip&& other) noexcept = default;

Outcome Gunzip::feed(std::string_view bytes) {
  if (!state_->isReady) return Failure{Failure::Kind::kMemory, "there is not enough memory"};
  while (!bytes.empty()) {
    if (Outcome failure = state_->unpack(takePiece(bytes))) return failure;
  }
  return {};
}

Outcome Gunzip::finish() {
  return state_->isAtEnd ? Outcome() : damaged();
}

std::string gzipped(std::string_view text) {
  constexpr int kMemory = 8;  // zlib's own choice.
  constexpr int kNoSystem = 255;
  z_stream stream{};
  if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzip, kMemory,
                   Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::bad_alloc();
  }
  struct End {
    ~End() { deflateEnd(&stream); }
    z_stream& stream;
  } const atLast{stream};
  gz_header header{};  // Without a time.
  header.os = kNoSystem;
  deflateSetHeader(&stream, &header);
  std::string packed;
  std::array<char, kMostAtOnce> room;
  do {
    const std::string_view piece = takePiece(text);
    stream.next_in = bytesOf(piece);
    stream.avail_in = static_cast<uInt>(piece.size());
    do {
      stream.next_out = reinterpret_cast<Bytef*>(room.data());
      stream.avail_out = static_cast<uInt>(room.size());
      deflate(&stream, text.empty() ? Z_FINISH : Z_NO_FLUSH);
      packed.append(room.data(), room.size() - stream.avail_out);
    } while (stream.avail_out == 0);
  } while (!text.empty());
  return packed;
}

std::optional<std::string> gunzipped(std::string_view bytes, std::size_t most) {
  std::string text;
  Gunzip gunzip([&](std::string_view piece) -> Outcome {
    if (piece.size() > most - text.size()) return Failure{Failure::Kind::kLimit, "it is too long"};
    text.append(piece);
    return {};
  });
  if (gunzip.feed(bytes) || gunzip.finish()) return std::nullopt;
  return text;
}

}  // namespace mtlupdate
