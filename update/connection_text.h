// Describes in words the numbers with which the networking library reports why a request failed.
#ifndef MTLLIB_UPDATE_CONNECTION_TEXT_H_
#define MTLLIB_UPDATE_CONNECTION_TEXT_H_

#include <cstdint>

#include "mtllib/transfer_progress.h"
#include "update/failure.h"

namespace mtlupdate {

/// "could not connect to the server" and the like; "" for a number that is not a reason.
const char* connectionReasonText(std::uint32_t reason);

/// The same where more is known: "the server stopped responding"; "" for causes that
/// have nothing to do with connections.
const char* connectionCauseText(Failure::Cause cause);

/// "its header is larger than 300 KiB" and the like; "" for a number that is not a rule.
const char* brokenRuleText(std::int32_t rule);

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_CONNECTION_TEXT_H_
