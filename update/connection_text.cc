// The tables of these words, one for each kind of number.
#include "update/connection_text.h"

namespace mtlupdate {

using namespace Krell::Networking;  // NOLINT(google-build-using-namespace)

const char* connectionReasonText(std::uint32_t reason) {
  switch (reason) {
    case CONNECTION_ERROR_RESOLVE:
      return "the server's name could not be resolved";
    case CONNECTION_ERROR_CONNECT:
      return "could not connect to the server";
    case CONNECTION_ERROR_TLS:
      return "the secure connection (TLS) failed";
    case CONNECTION_ERROR_PROXY:
      return "the proxy could not be reached, or refused the connection";
    case CONNECTION_ERROR_SEND:
      return "the request could not be sent";
    case CONNECTION_ERROR_RECEIVE:
      return "the connection broke before the whole answer had arrived";
    case CONNECTION_ERROR_TRUNCATED:
      return "only part of the file arrived";
    case CONNECTION_ERROR_TIMEOUT:
      return "connecting took too long, or the transfer stalled";
    case CONNECTION_ERROR_ABORTED:
      return "the connections were closed in the meantime";
    case CONNECTION_ERROR_PROTOCOL:
      return "the answer is not valid HTTP";
    case CONNECTION_ERROR_MEMORY:
      return "out of memory";
    case CONNECTION_ERROR_OTHER:
      return "the reason is not known";
    case CONNECTION_ERROR_CERTIFICATE:
      return "the server's certificate could not be verified";
    case CONNECTION_ERROR_LIMIT:
      return "the answer is larger than allowed";
    default:
      return "";
  }
}

const char* connectionCauseText(Failure::Cause cause) {
  using Cause = Failure::Cause;
  switch (cause) {
    case Cause::kUnknownAuthority:
      return "the server's certificate was issued by an authority that is not trusted";
    case Cause::kCertificateNotNow:
      return "the server's certificate has expired, or is not valid yet";
    case Cause::kOtherName:
      return "the server's certificate is for a different name";
    case Cause::kNoAuthorities:
      return "the file of trusted authorities cannot be used";
    case Cause::kProxyRefused:
      return "the proxy refused the connection";
    case Cause::kProxyPassword:
      return "the proxy requires a user name and a password";
    case Cause::kNotConnected:
      return "connecting took too long";
    case Cause::kStalled:
      return "the server stopped responding";
    default:
      return "";
  }
}

const char* brokenRuleText(std::int32_t rule) {
  switch (rule) {
    case HTTP_RULE_STATUS_LINE:
      return "it does not begin like an HTTP/1 answer";
    case HTTP_RULE_FORBIDDEN_BYTE:
      return "its header has a zero byte or a lone carriage return";
    case HTTP_RULE_FIELD:
      return "a line of its header is not a field";
    case HTTP_RULE_LENGTH:
      return "its length is not a single plain number";
    case HTTP_RULE_CODING:
      return "its transfer coding is not chunked";
    case HTTP_RULE_CHUNK:
      return "its chunks are malformed";
    case HTTP_RULE_UPGRADE:
      return "it switches to another protocol";
    case HTTP_RULE_HEADER_SIZE:
      return "its header is larger than 300 KiB";
    case HTTP_RULE_FIELD_COUNT:
      return "its header has more than 1,000 fields";
    case HTTP_RULE_CHUNK_EXTENSIONS:
      return "its chunks have more than 16 KiB of extensions";
    case HTTP_RULE_INTERIM_ANSWERS:
      return "more than 32 interim answers came before it";
    case HTTP_RULE_BODY_SIZE:
      return "its body is longer than allowed";
    default:
      return "";
  }
}

}  // namespace mtlupdate
