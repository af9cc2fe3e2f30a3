/// @file
/// What the networking library reports about a running transfer, and why one failed.
///
/// @since 1.0
#ifndef MTLLIB_TRANSFER_PROGRESS_H_
#define MTLLIB_TRANSFER_PROGRESS_H_

#include <cstddef>
#include <cstdint>

namespace Krell {
namespace Networking {

/// Identifies a request for as long as it runs: compare, never dereference.
struct ReqTokenGeneralType;

/// The response being received; opaque to hosts.
class Response;

/// The state of one running transfer. Owned by the networking library, valid during
/// the callback that receives it.
struct TransferProgress {
  /// Set to 1 by the data callback to end the transfer. Hosts do not set it; they return a value
  /// from HostCallback::isAborted instead.
  std::uint32_t abort;
  /// Bytes of the response body received so far for this request.
  std::int64_t receivedBytes;
};

static_assert(offsetof(TransferProgress, abort) == 0, "record layout");
static_assert(offsetof(TransferProgress, receivedBytes) == 8, "record layout");

/// Why a transfer failed: the "reason" of the message
/// "Connection error: reason=%d extraF=%x underlying=%d".
enum ConnectionErrorReason : std::uint32_t {
  CONNECTION_ERROR_RESOLVE = 1,       ///< The server's name could not be resolved.
  CONNECTION_ERROR_CONNECT = 2,       ///< No connection to the server.
  CONNECTION_ERROR_TLS = 3,           ///< The TLS handshake or a TLS record failed.
  CONNECTION_ERROR_PROXY = 4,         ///< The proxy could not be reached or refused.
  CONNECTION_ERROR_SEND = 5,          ///< The request could not be sent.
  CONNECTION_ERROR_RECEIVE = 6,       ///< The connection broke before or in the response.
  CONNECTION_ERROR_TRUNCATED = 7,     ///< The body is shorter than announced.
  CONNECTION_ERROR_TIMEOUT = 8,       ///< Connecting took too long, or the transfer stalled.
  CONNECTION_ERROR_ABORTED = 9,       ///< The client pool was destroyed meanwhile.
  CONNECTION_ERROR_PROTOCOL = 10,     ///< The answer is not valid HTTP.
  CONNECTION_ERROR_MEMORY = 11,       ///< Out of memory.
  CONNECTION_ERROR_OTHER = 12,        ///< Anything else.
  CONNECTION_ERROR_CERTIFICATE = 13,  ///< The server's certificate could not be verified.
  CONNECTION_ERROR_LIMIT = 14         ///< The answer is larger than what is taken.
};

/// The flags of the same message ("extraF").
enum ConnectionErrorFlags : std::uint32_t {
  /// "underlying" is an error number of the operating system; without either flag it
  /// is libcurl's CURLcode.
  CONNECTION_ERROR_SYSTEM_NUMBER = 0x1000,
  /// "underlying" is an HttpRule.
  CONNECTION_ERROR_RULE_NUMBER = 0x2000
};

/// Which rule an answer broke: the value of "underlying" with CONNECTION_ERROR_RULE_NUMBER, for the
/// reasons CONNECTION_ERROR_PROTOCOL and CONNECTION_ERROR_LIMIT.
enum HttpRule : std::int32_t {
  HTTP_RULE_STATUS_LINE = 1,        ///< It begins otherwise than "HTTP/1.x" and a status.
  HTTP_RULE_FORBIDDEN_BYTE = 2,     ///< Its header holds a zero byte, or a CR without LF.
  HTTP_RULE_FIELD = 3,              ///< A line of its header or trailers is not a field.
  HTTP_RULE_LENGTH = 4,             ///< Its length is not a number below 2^63, or not the only one.
  HTTP_RULE_CODING = 5,             ///< Its transfer coding is not "chunked".
  HTTP_RULE_CHUNK = 6,              ///< Its chunks do not follow one another.
  HTTP_RULE_UPGRADE = 7,            ///< It changes to another protocol (status 101).
  HTTP_RULE_HEADER_SIZE = 8,        ///< Header and trailers are larger than 300 KiB.
  HTTP_RULE_FIELD_COUNT = 9,        ///< Header and trailers have more than 1,000 fields.
  HTTP_RULE_CHUNK_EXTENSIONS = 10,  ///< Its chunks have more than 16 KiB of extensions.
  HTTP_RULE_INTERIM_ANSWERS = 11,   ///< More than 32 interim answers come before it.
  HTTP_RULE_BODY_SIZE = 12          ///< Its body is larger than the request allows.
};

}  // namespace Networking
}  // namespace Krell

#endif  // MTLLIB_TRANSFER_PROGRESS_H_
