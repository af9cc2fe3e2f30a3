// One GET, as guarded as those of the plug-in.
#include "library_list/list_fetch.h"

#include <curl/curl.h>

#include <array>
#include <cstddef>
#include <memory>
#include <utility>

namespace library_list {

namespace {

constexpr long kConnectSeconds = 30;
constexpr long kStallSeconds = 60;
constexpr long kProxyPort = 80;
constexpr long kStatusOk = 200;

/// libcurl's state of the process, which is counted.
struct CurlState {
  CURLcode code = curl_global_init(CURL_GLOBAL_DEFAULT);
  CurlState() = default;
  ~CurlState() {
    if (code == CURLE_OK) curl_global_cleanup();
  }
  CurlState(const CurlState&) = delete;
  CurlState& operator=(const CurlState&) = delete;
};

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

class Setter {
 public:
  explicit Setter(CURL* easy) : easy_(easy) {}

  template <typename Value>
  void operator()(CURLoption option, Value value) {
    note(curl_easy_setopt(easy_, option, value));
  }

  /// For what is worth having but not known to every build of libcurl.
  void ifKnown(CURLoption option, const char* value) {
    const CURLcode code = curl_easy_setopt(easy_, option, value);
    if (code != CURLE_NOT_BUILT_IN) note(code);
  }

  CURLcode code() const { return code_; }

 private:
  void note(CURLcode code) {
    if (code_ == CURLE_OK) code_ = code;
  }

  CURL* easy_;
  CURLcode code_ = CURLE_OK;
};

void setSecurity(Setter& set, const TrustStore& trust) {
  set(CURLOPT_PROTOCOLS_STR, "http,https");
  set(CURLOPT_FOLLOWLOCATION, 0L);
  set(CURLOPT_DISALLOW_USERNAME_IN_URL, 1L);
  set(CURLOPT_SSL_VERIFYPEER, 1L);
  set(CURLOPT_SSL_VERIFYHOST, 2L);
  set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  // Private authorities publish no lists of revoked certificates, which Schannel looks for.
  set(CURLOPT_SSL_OPTIONS, static_cast<long>(CURLSSLOPT_REVOKE_BEST_EFFORT));
  if (!trust.file.empty()) set(CURLOPT_CAINFO, trust.file.c_str());
  if (!trust.directory.empty()) set.ifKnown(CURLOPT_CAPATH, trust.directory.c_str());
}

void setProxy(Setter& set, const std::optional<std::string>& proxy) {
  if (!proxy) return;
  set(CURLOPT_PROXY, proxy->c_str());
  set(CURLOPT_PROXYPORT, kProxyPort);  // Unless the address has one.
  set(CURLOPT_NOPROXY, "");
}

CURLcode configure(CURL* easy, Transfer& transfer, char* errorText) {
  Setter set(easy);
  set(CURLOPT_ERRORBUFFER, errorText);
  set(CURLOPT_URL, transfer.request.url.c_str());
  set(CURLOPT_PATH_AS_IS, 1L);
  set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  set(CURLOPT_USERAGENT, transfer.request.userAgent.c_str());
  setSecurity(set, transfer.request.trust);
  setProxy(set, transfer.request.proxy);
  set(CURLOPT_CONNECTTIMEOUT, kConnectSeconds);
  set(CURLOPT_LOW_SPEED_LIMIT, 1L);
  set(CURLOPT_LOW_SPEED_TIME, kStallSeconds);
  set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(transfer.request.largestSize));
  set(CURLOPT_NOSIGNAL, 1L);
  set(CURLOPT_QUICK_EXIT, 1L);
  set(CURLOPT_WRITEFUNCTION, &onBody);
  set(CURLOPT_WRITEDATA, &transfer);
  set(CURLOPT_NOPROGRESS, 0L);
  set(CURLOPT_XFERINFOFUNCTION, &onProgress);
  set(CURLOPT_XFERINFODATA, &transfer);
  return set.code();
}

std::string problemOf(CURLcode code, const char* errorText, const Transfer& transfer, long status) {
  if (code == CURLE_FILESIZE_EXCEEDED || transfer.tooLarge) {
    return "it is larger than " + std::to_string(transfer.request.largestSize) + " bytes";
  }
  if (code == CURLE_OK) return "unexpected HTTP status " + std::to_string(status);
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
  const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> easy(curl_easy_init(),
                                                                 &curl_easy_cleanup);
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
