// A RequestText writes the requests of a pool as they are sent.
#ifndef KRELL_NETWORKING_REQUEST_TEXT_H_
#define KRELL_NETWORKING_REQUEST_TEXT_H_

#include <string>

#include "connection.h"
#include "header_fields.h"
#include "net/http_client.h"

namespace Krell {
namespace Networking {

/// Whether `path` can stand in a request without changing what else is sent.
bool isRequestTarget(const char* path);

/// Writes requests to one peer. What is the same in all of them is written once.
class RequestText {
 public:
  RequestText() = default;
  RequestText(const Peer& peer, const HeaderFields& fields);

  /// Writes a request for `options` to `text`, whose memory is used again.
  void write(const HttpClient::RequestOptions& options, std::string& text) const;

 private:
  std::string targetBegin_;
  std::string afterTarget_;
};

}  // namespace Networking
}  // namespace Krell

#endif  // KRELL_NETWORKING_REQUEST_TEXT_H_
