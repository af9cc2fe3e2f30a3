// HTTP alone, with certificates verified and no redirect followed.
#include "library_list/transfer_setup.h"

namespace library_list {

namespace {

constexpr long kProxyPort = 80;

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

}  // namespace

void setUp(Setter& set, const FetchRequest& request) {
  set(CURLOPT_PATH_AS_IS, 1L);
  set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  set(CURLOPT_USERAGENT, request.userAgent.c_str());
  setSecurity(set, request.trust);
  setProxy(set, request.proxy);
  set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(request.connectLimit.count()));
  set(CURLOPT_LOW_SPEED_LIMIT, 1L);
  set(CURLOPT_LOW_SPEED_TIME, static_cast<long>(request.stallLimit.count()));
  set(CURLOPT_NOSIGNAL, 1L);
  set(CURLOPT_QUICK_EXIT, 1L);
}

std::string tooLargeText(std::int64_t largestSize) {
  return "it is larger than " + std::to_string(largestSize) + " bytes";
}

std::string statusText(long status) {
  return "unexpected HTTP status " + std::to_string(status);
}

}  // namespace library_list
