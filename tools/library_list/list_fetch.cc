// One GET.
#include "library_list/list_fetch.h"

#include <array>
#include <cstddef>
#include <utility>

#include "library_list/transfer_setup.h"

namespace library_list {

namespace {

struct Transfer {
  const FetchRequest& request;
  std::string body;
  bool tooLarge = false;
};

std::size_t onBody(char* bytes, std::size_t unit, std::size_t count, void* transferPointer) {
  auto& transfer = *static_cast<Transfer*>(transferPointer);
  const std::size_t size = unit * count;
  const auto room = static_cast<std::size_t>(transfer.request.largestSize) - transfer.body.size();
  transfer.tooLarge = size > room;
  if (transfer.tooLarge) return 0;
  transfer.body.append(bytes, size);
  return size;
}

int onProgress(void* transferPointer, curl_off_t /*total*/, curl_off_t received,
               curl_off_t /*sendTotal*/, curl_off_t /*sent*/) {
  const auto& transfer = *static_cast<Transfer*>(transferPointer);
  return transfer.request.stop && transfer.request.stop(received) ? 1 : 0;
}

CURLcode configure(CURL* easy, Transfer& transfer, char* errorText) {
  Setter set(easy);
  set(CURLOPT_ERRORBUFFER, errorText);
  set(CURLOPT_URL, transfer.request.url.c_str());
  setUp(set, transfer.request);
  set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(transfer.request.largestSize));
  set(CURLOPT_WRITEFUNCTION, &onBody);
  set(CURLOPT_WRITEDATA, &transfer);
  set(CURLOPT_NOPROGRESS, 0L);
  set(CURLOPT_XFERINFOFUNCTION, &onProgress);
  set(CURLOPT_XFERINFODATA, &transfer);
  return set.code();
}

std::string problemOf(CURLcode code, const char* errorText, const Transfer& transfer, long status) {
  if (code == CURLE_FILESIZE_EXCEEDED || transfer.tooLarge) {
    return tooLargeText(transfer.request.largestSize);
  }
  if (code == CURLE_OK) return statusText(status);
  return *errorText != '\0' ? errorText : curl_easy_strerror(code);
}

}  // namespace

TrustStore trustStoreOf(const std::function<std::string(const char* name)>& variable) {
  TrustStore trust;
  trust.file = variable("CURL_CA_BUNDLE");
  if (trust.file.empty()) trust = {variable("SSL_CERT_FILE"), variable("SSL_CERT_DIR")};
  return trust;
}

FetchResult fetchList(const FetchRequest& request) {
  const CurlState state;
  const EasyHandle easy = makeEasyHandle();
  if (state.code != CURLE_OK || easy == nullptr) {
    return {FetchResult::Outcome::kFailed, "", "libcurl could not be started"};
  }
  Transfer transfer{request, ""};
  std::array<char, CURL_ERROR_SIZE> errorText{};
  CURLcode code = configure(easy.get(), transfer, errorText.data());
  if (code == CURLE_OK) code = curl_easy_perform(easy.get());
  if (code == CURLE_ABORTED_BY_CALLBACK) return {FetchResult::Outcome::kStopped, "", ""};
  long status = 0;
  curl_easy_getinfo(easy.get(), CURLINFO_RESPONSE_CODE, &status);
  if (code == CURLE_OK && status == kStatusOk) {
    return {FetchResult::Outcome::kFetched, std::move(transfer.body), ""};
  }
  return {FetchResult::Outcome::kFailed, "", problemOf(code, errorText.data(), transfer, status)};
}

}  // namespace library_list
