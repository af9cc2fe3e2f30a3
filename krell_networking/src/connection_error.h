// Translates failures of libcurl and of answers into the reasons that the library reports.
#ifndef KRELL_NETWORKING_CONNECTION_ERROR_H_
#define KRELL_NETWORKING_CONNECTION_ERROR_H_

#include <curl/curl.h>

#include "net/http_client.h"

namespace Krell {
namespace Networking {

/// Describes the failure `code` of the connection that `easy` made, through a proxy or not.
ConnectionError describeFailure(CURL* easy, CURLcode code, bool viaProxy);

/// What is wrong with the certificate of the server, after the failure `code`, of which libcurl
/// says `words`.
CertificateProblem certificateProblemOf(CURL* easy, CURLcode code, const char* words);

/// Describes an answer that broke `rule`.
ConnectionError describeBrokenRule(HttpRule rule);

}  // namespace Networking
}  // namespace Krell

#endif  // KRELL_NETWORKING_CONNECTION_ERROR_H_
