// Measures what the library does with each piece of data while transfers run, on the networking
// library's thread: nothing is received until this call returns.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "body.h"
#include "cost.h"
#include "evbuffer.h"
#include "fakes/silent_callback.h"
#include "http/http_getter.h"

using Krell::Networking::CallbackContext;
using Krell::Networking::ReqTokenGeneralType;
using Krell::Networking::Response;
using Krell::Networking::TransferProgress;

namespace {

constexpr std::int64_t kPiecesPerFile = 64;
constexpr std::int64_t kBatchBytes = 1000000000;

/// A getter without a pool, and the file that its first client receives.
class Transfer {
 public:
  Transfer() { startBatch(); }

  // The caption and the thousandths are shown as often as in a batch of this size.
  void startBatch() {
    getter_.beginBatch(kBatchBytes, "Downloading files");
    delivered_ = 0;
  }

  // On a client that has received one before.
  void startFile() {
    if (delivered_ >= kBatchBytes) startBatch();
    body_.Reset(false);
    getter_.requestSlots[0] = RequestSlot{};
    getter_.requestSlots[0].stream = &body_;
    progress_ = TransferProgress{};
  }

  void deliver(const char* bytes, std::size_t size) {
    Krell::Evbuffer storage{bytes, size};
    Response response;
    response.data = &storage;
    progress_.receivedBytes += static_cast<std::int64_t>(size);
    delivered_ += static_cast<std::int64_t>(size);
    HttpGetter::responseProgressCb(&context_,
                                   reinterpret_cast<ReqTokenGeneralType*>(&getter_.requestSlots[0]),
                                   &progress_, &response);
  }

  // Whether every piece was taken and counted, the last ones into a file that is `content`.
  bool isWhole(const std::string& content) {
    return progress_.abort == 0 && !getter_.requestSlots[0].error &&
           getter_.receivedBytes == delivered_ && holds(body_, content);
  }

 private:
  SilentCallback callback_;
  HttpGetter getter_{&callback_};
  BodyStream body_;
  CallbackContext context_{nullptr, &getter_};
  TransferProgress progress_{};
  std::int64_t delivered_ = 0;
};

void dataCallback(benchmark::State& state) {
  const std::string piece = makeBody(static_cast<std::size_t>(state.range(0)));
  Transfer transfer;
  std::int64_t pieces = 0;
  for ([[maybe_unused]] auto _ : state) {
    if (pieces++ % kPiecesPerFile == 0) transfer.startFile();
    transfer.deliver(piece.data(), piece.size());
  }
  std::string content;
  for (std::int64_t i = 0; i <= (pieces - 1) % kPiecesPerFile; ++i)
    content += piece;
  if (!transfer.isWhole(content)) state.SkipWithError("a piece was lost");
  if (!piece.empty()) state.counters["per_byte"] = costPer(state.range(0));
}
BENCHMARK(dataCallback)->ArgName("piece")->Arg(16384)->Arg(0);

}  // namespace
