// Measures the stream that holds a body: the cost of a byte, written as pieces arrive and read as
// it is when a file is saved.
#include "qutils/mem_stream.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "body.h"
#include "cost.h"

namespace {

constexpr std::int64_t kMebibyte = 1048576;

std::string bodyFor(const benchmark::State& state) {
  return makeBody(static_cast<std::size_t>(state.range(0)));
}

void finish(benchmark::State& state, bool succeeded, QUtils::PStream& stream,
            const std::string& body) {
  if (!succeeded || !holds(stream, body)) state.SkipWithError("the stream lost what was written");
  state.counters["per_byte"] = costPer(state.range(0));
}

// Takes the stream's blocks from the system and gives them back.
void writeFresh(benchmark::State& state) {
  const std::string body = bodyFor(state);
  const auto piece = static_cast<std::size_t>(state.range(1));
  bool isWritten = true;
  for ([[maybe_unused]] auto _ : state) {
    BodyStream stream;
    isWritten = writeInPieces(stream, body, piece) && isWritten;
  }
  BodyStream stream;
  isWritten = writeInPieces(stream, body, piece) && isWritten;
  finish(state, isWritten, stream, body);
}

// As a client's next body: in the blocks of the one before.
void writeReused(benchmark::State& state) {
  const std::string body = bodyFor(state);
  const auto piece = static_cast<std::size_t>(state.range(1));
  BodyStream stream;
  bool isWritten = writeInPieces(stream, body, piece);
  for ([[maybe_unused]] auto _ : state) {
    stream.Reset(false);
    isWritten = writeInPieces(stream, body, piece) && isWritten;
  }
  finish(state, isWritten, stream, body);
}

void readChunks(benchmark::State& state) {
  const std::string body = bodyFor(state);
  BodyStream stream;
  bool isRead = writeInPieces(stream, body, body.size());
  std::vector<char> chunk;
  for ([[maybe_unused]] auto _ : state) {
    std::size_t total = 0;
    isRead = readInChunks(stream, chunk,
                          [&](std::uint32_t count) {
                            benchmark::DoNotOptimize(chunk.data());
                            total += count;
                          }) &&
             isRead && total == body.size();
  }
  finish(state, isRead, stream, body);
}

const std::vector<std::int64_t> kBodySizes = {kMebibyte, 64 * kMebibyte};
const std::vector<std::int64_t> kPieceSizes = {16384, 262144};

BENCHMARK(writeFresh)->ArgNames({"body", "piece"})->ArgsProduct({kBodySizes, kPieceSizes});
BENCHMARK(writeReused)->ArgNames({"body", "piece"})->ArgsProduct({kBodySizes, kPieceSizes});
BENCHMARK(readChunks)->ArgName("body")->ArgsProduct({kBodySizes});

}  // namespace
