// The request cycle: waits for an idle client, issues a GET, and collects the result. Also the
// callbacks that run on the networking library's thread meanwhile.
#include <cstdio>
#include <limits>

#include "http/http_getter.h"
#include "plugin/error_chain.h"

using Krell::Networking::CallbackContext;
using Krell::Networking::ConnectionError;
using Krell::Networking::HttpClient;
using Krell::Networking::ReqTokenGeneralType;
using Krell::Networking::Response;
using Krell::Networking::TransferProgress;

namespace {

constexpr double kMegabytesPerByte = 1e-06;

HttpGetter* getterOf(const CallbackContext* context) {
  return context != nullptr ? static_cast<HttpGetter*>(context->userPointer) : nullptr;
}

// The token of a request is the slot it was issued on.
RequestSlot* slotOf(ReqTokenGeneralType* token) {
  return reinterpret_cast<RequestSlot*>(token);
}
ReqTokenGeneralType* tokenOf(RequestSlot* slot) {
  return reinterpret_cast<ReqTokenGeneralType*>(slot);
}

// A server may send more than its list announced, by any factor.
template <typename Integer, typename Real>
Integer truncateTo(Real value) {
  constexpr auto kHighest = std::numeric_limits<Integer>::max();
  return value < static_cast<Real>(kHighest) ? static_cast<Integer>(value) : kHighest;
}

void takeCompletion(const RequestSlot& slot, HttpDldDone& done) {
  done.tag = slot.tag;
  done.error = slot.error;
  done.status = slot.status;
}

// Moves the new data into the slot's stream.
void saveResponseData(RequestSlot& slot, Response& response) {
  Krell::Buffer buffer;
  Krell::Err err;
  response.getResponseData(buffer);
  if (buffer.saveTo(err, slot.stream) == 0) slot.error = err.chain;
}

}  // namespace

void HttpDldDone::clear() {
  tag = 0;
  releaseErrorChain(error);
  status = 0;
}

void HttpDldDone::expectStatus() {
  if (error || status == 200) return;
  setError(error, "HttpDldDone::expectStatus", -1, "Unexpected HTTP status (%d)",
           static_cast<int>(status));
}

void HttpGetter::beginBatch(std::int64_t total, const char* caption) {
  lastPermille = -1;
  lastMegabytes = std::numeric_limits<std::uint32_t>::max();
  receivedBytes.exchange(0);
  totalBytes = total;
  phaseText = caption;
  callback->setProgressText(caption);
}

ErrorChain HttpGetter::waitAvailable(int& index, std::uint32_t& hadCompletion, HttpDldDone& done) {
  done.clear();
  hadCompletion = 0;
  index = -1;
  if (pool.waitAvailable(&index) == nullptr) {
    return makeError("HttpGetter::waitAvailable", -1,
                     "Could not obtain client, subsystem is shutting down");
  }
  RequestSlot& slot = requestSlots[index];
  hadCompletion = slot.busy;
  if (slot.busy != 0) takeCompletion(slot, done);
  slot = RequestSlot{};
  return {};
}

ErrorChain HttpGetter::issueRequest(int index, const char* path, QUtils::PStream* stream,
                                    std::uint32_t tag, std::int64_t expectedSize) {
  RequestSlot& slot = requestSlots[index];
  slot = RequestSlot{};
  slot.stream = stream;
  slot.tag = tag;
  slot.expectedSize = expectedSize;
  Krell::Err err;
  HttpClient& client = pool.client(index);
  if (client.request(err, path, HttpClient::kGet, tokenOf(&slot), nullptr, nullptr) == 0) {
    return err.chain;
  }
  slot.busy = 1;
  return {};
}

int HttpGetter::waitForRequestCompletion(HttpDldDone& done) {
  for (int index = 0; index < kHttpClientCount; ++index) {
    RequestSlot& slot = requestSlots[index];
    if (slot.busy == 0) continue;
    pool.client(index).waitForRequestCompletion(nullptr);
    takeCompletion(slot, done);
    slot = RequestSlot{};
    return index;
  }
  done.clear();
  return -1;
}

void HttpGetter::responseSentCb(CallbackContext* /*context*/, ReqTokenGeneralType* /*token*/) {}

void HttpGetter::responseStatusCb(CallbackContext* context, ReqTokenGeneralType* token,
                                  const std::uint32_t* status) {
  if (getterOf(context) == nullptr || token == nullptr || status == nullptr) return;
  slotOf(token)->status = *status;
}

void HttpGetter::responseErrorCb(CallbackContext* context, const ConnectionError* error,
                                 ReqTokenGeneralType* token) {
  if (getterOf(context) == nullptr || error == nullptr || token == nullptr) return;
  constexpr std::uint32_t kReasonBits = 0xFFF;
  pushError(slotOf(token)->error, "HttpGetter::responseErrorCb", -1,
            "Connection error: reason=%d extraF=%x underlying=%d",
            static_cast<int>(error->code & kReasonBits), error->code & ~kReasonBits,
            error->underlying);
}

void HttpGetter::responseProgressCb(CallbackContext* context, ReqTokenGeneralType* token,
                                    TransferProgress* progress, Response* response) {
  constexpr const char* kTag = "HttpGetter::responseProgressCb";
  HttpGetter* getter = getterOf(context);
  if (getter == nullptr || token == nullptr || response == nullptr) return;
  RequestSlot& slot = *slotOf(token);
  if (const int answer = getter->callback->isAborted(token, progress, response)) {
    pushError(slot.error, kTag, -1, "Download aborted (%i)", answer);
    progress->abort = 1;
    return;
  }
  if (slot.stream == nullptr) pushError(slot.error, kTag, -1, "No stream to write to");
  saveResponseData(slot, *response);
  if (slot.error) {
    progress->abort = 1;
    return;
  }
  const std::int64_t delta = progress->receivedBytes - slot.bytesWritten;
  slot.bytesWritten = progress->receivedBytes;
  if (delta > 0) {
    getter->receivedBytes.fetch_add(delta);
    getter->updateProgress();
  }
}

void HttpGetter::updateProgress() {
  if (totalBytes < 1) return;
  // In single precision to the end, which decides where one thousandth becomes the next.
  const float part = static_cast<float>(receivedBytes.load()) / static_cast<float>(totalBytes);
  const auto permille = truncateTo<int>(part * 1000.0F + 0.5F);
  if (permille > lastPermille) {
    lastPermille = permille;
    callback->setProgressValue(permille);
  }
  updateMegabytes();
}

void HttpGetter::updateMegabytes() {
  if (totalBytes < 1) return;
  const auto megabytes =
      truncateTo<std::uint32_t>(static_cast<double>(receivedBytes.load()) * kMegabytesPerByte);
  if (megabytes == lastMegabytes) return;
  lastMegabytes = megabytes;
  const auto total = truncateTo<int>(static_cast<double>(totalBytes) * kMegabytesPerByte);
  char suffix[64];
  std::snprintf(suffix, sizeof(suffix), " (%dMB / %dMB)", static_cast<int>(megabytes), total);
  callback->setProgressText((phaseText + suffix).text());
}
