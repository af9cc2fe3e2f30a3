// The system's errors in words.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_ERROR_MESSAGE_H_
#define MTLLIB_TOOLS_MTLPUBLISH_ERROR_MESSAGE_H_

#include <string>
#include <system_error>

namespace mtlpublish {

/// What the error means, for the most common ones in the same words on every system.
std::string errorMessage(const std::error_code& error);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_ERROR_MESSAGE_H_
