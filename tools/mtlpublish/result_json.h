// Describes the result of a command as JSON for other programs.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_RESULT_JSON_H_
#define MTLLIB_TOOLS_MTLPUBLISH_RESULT_JSON_H_

#include <string>

#include "mtlpublish/publisher.h"
#include "mtlpublish/verify.h"

namespace mtlpublish {

/// One object in one line, without a line break, that can be shown on a terminal.
std::string jsonText(const PublishResult& result);
std::string jsonText(const VerifyResult& result);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_RESULT_JSON_H_
