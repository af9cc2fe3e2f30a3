// What HTTP says about a file besides its bytes.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_HTTP_FILE_H_
#define MTLLIB_TOOLS_MTLPUBLISH_HTTP_FILE_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "mtlpublish/system.h"

namespace mtlpublish {

/// "Sun, 06 Nov 1994 08:49:37 GMT". May be called by any thread.
std::string httpDate(std::int64_t secondsSince1970);

/// The Last-Modified of a file.
std::string lastModified(const FileState& state);

/// The ETag of a file, quotes included: another one whenever the file is written again.
std::string entityTag(const FileState& state);

/// Whether an If-None-Match or, without one, an If-Modified-Since says that the client has
/// the file as it is; "" stands for a field that was not sent.
bool isKnown(std::string_view ifNoneMatch, std::string_view ifModifiedSince,
             const FileState& state);

/// Whether an If-Range lets a part be sent.
bool allowsPart(std::string_view ifRange, const FileState& state);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_HTTP_FILE_H_
