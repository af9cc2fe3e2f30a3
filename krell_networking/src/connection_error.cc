// The table from CURLcode to reason, with the system's error number where it is known.
#include "connection_error.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>

namespace Krell {
namespace Networking {

namespace {

ConnectionErrorReason reasonOf(CURLcode code) {
  switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
      return CONNECTION_ERROR_RESOLVE;
    case CURLE_COULDNT_CONNECT:
    case CURLE_INTERFACE_FAILED:
      return CONNECTION_ERROR_CONNECT;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_SHUTDOWN_FAILED:
    case CURLE_USE_SSL_FAILED:
      return CONNECTION_ERROR_TLS;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_INVALIDCERTSTATUS:
      return CONNECTION_ERROR_CERTIFICATE;
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_PROXY:
      return CONNECTION_ERROR_PROXY;
    case CURLE_SEND_ERROR:
      return CONNECTION_ERROR_SEND;
    case CURLE_RECV_ERROR:
    case CURLE_GOT_NOTHING:
      return CONNECTION_ERROR_RECEIVE;
    case CURLE_PARTIAL_FILE:
      return CONNECTION_ERROR_TRUNCATED;
    case CURLE_OPERATION_TIMEDOUT:
      return CONNECTION_ERROR_TIMEOUT;
    case CURLE_ABORTED_BY_CALLBACK:
      return CONNECTION_ERROR_ABORTED;
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_BAD_CONTENT_ENCODING:
      return CONNECTION_ERROR_PROTOCOL;
    case CURLE_OUT_OF_MEMORY:
      return CONNECTION_ERROR_MEMORY;
    default:
      return CONNECTION_ERROR_OTHER;
  }
}

// A tunnel that the proxy would not open shows as a receive error.
bool tunnelRefused(CURL* easy) {
  long status = 0;
  curl_easy_getinfo(easy, CURLINFO_HTTP_CONNECTCODE, &status);
  return status != 0 && status / 100 != 2;
}

int systemNumber(CURL* easy, CURLcode code) {
  // The others may find one that an earlier attempt has left.
  if (code != CURLE_COULDNT_CONNECT && code != CURLE_INTERFACE_FAILED && code != CURLE_SEND_ERROR &&
      code != CURLE_RECV_ERROR) {
    return 0;
  }
  long number = 0;
  curl_easy_getinfo(easy, CURLINFO_OS_ERRNO, &number);
  return static_cast<int>(number);
}

}  // namespace

ConnectionError describeFailure(CURL* easy, CURLcode code, bool viaProxy) {
  ConnectionErrorReason reason = reasonOf(code);
  const int number = systemNumber(easy, code);
  if (viaProxy && (reason == CONNECTION_ERROR_CONNECT || tunnelRefused(easy))) {
    reason = CONNECTION_ERROR_PROXY;
  }
  const auto word = static_cast<std::uint32_t>(reason);
  if (number != 0) return {word | CONNECTION_ERROR_SYSTEM_NUMBER, number};
  return {word, static_cast<std::int32_t>(code)};
}

// OpenSSL has numbers for what it finds, but not for what libcurl finds itself, such as another
// name; Schannel has words.
CertificateProblem certificateProblemOf(CURL* easy, CURLcode code, const char* words) {
  if (code == CURLE_SSL_CACERT_BADFILE) return CertificateProblem::kNoAuthorities;
  if (reasonOf(code) != CONNECTION_ERROR_CERTIFICATE) return CertificateProblem::kUnknown;
  const auto says = [words](std::initializer_list<const char*> parts) {
    return std::any_of(parts.begin(), parts.end(),
                       [words](const char* part) { return std::strstr(words, part) != nullptr; });
  };
  // Where the address has a number in place of a name, libcurl speaks of that.
  if (says({"subject name", "hostname", "WRONG_PRINCIPAL", "CN_NO_MATCH"})) {
    return CertificateProblem::kOtherName;
  }
  constexpr long kNotChecked = 1;   // X509_V_ERR_UNSPECIFIED, with which libcurl begins
  constexpr long kNotYetValid = 9;  // X509_V_ERR_CERT_NOT_YET_VALID
  constexpr long kExpired = 10;     // X509_V_ERR_CERT_HAS_EXPIRED
  long result = 0;
  curl_easy_getinfo(easy, CURLINFO_SSL_VERIFYRESULT, &result);
  const bool isOutOfTime = result == kNotYetValid || result == kExpired;
  if (isOutOfTime || says({"CERT_EXPIRED", "NOT_TIME_VALID"})) {
    return CertificateProblem::kNotValidNow;
  }
  const bool isUnknown =
      (result != 0 && result != kNotChecked) || says({"UNTRUSTED_ROOT", "PARTIAL_CHAIN"});
  return isUnknown ? CertificateProblem::kUnknownAuthority : CertificateProblem::kUnknown;
}

ConnectionError describeBrokenRule(HttpRule rule) {
  const bool limit = rule >= HTTP_RULE_HEADER_SIZE;
  const std::uint32_t reason = limit ? CONNECTION_ERROR_LIMIT : CONNECTION_ERROR_PROTOCOL;
  return {reason | CONNECTION_ERROR_RULE_NUMBER, rule};
}

}  // namespace Networking
}  // namespace Krell
