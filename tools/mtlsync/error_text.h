// Describes failures in words for people.
#ifndef MTLLIB_TOOLS_MTLSYNC_ERROR_TEXT_H_
#define MTLLIB_TOOLS_MTLSYNC_ERROR_TEXT_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "mtlhost/error.h"

namespace mtlsync {

using ErrorEntry = mtlhost::Error;
using ErrorEntries = mtlhost::Errors;

/// An entry for a failure of our own.
ErrorEntry ownError(std::string message);

/// With our tag and option in place of the kit's tag and setting.
ErrorEntries asOwn(ErrorEntries entries);

/// The ConnectionErrorReason of an entry that tells of a connection error, which need not be
/// one that is known.
std::optional<std::uint32_t> connectionReasonOf(const ErrorEntry& entry);

/// The HTTP status of an entry that tells of an unexpected one.
std::optional<int> httpStatusOf(const ErrorEntry& entry);

/// More about an entry whose message consists of numbers only; "" for all others.
std::string explanationOf(const ErrorEntry& entry);

/// True when the host ended the transfer itself.
bool isAbort(const ErrorEntries& entries);

/// True when a file could not be saved.
bool isFailedSave(const ErrorEntries& entries);

/// "What failed (explanation)" and a "  because: ..." line for each cause. With `detailed`
/// every line also tells tag and code.
std::vector<std::string> errorLines(const ErrorEntries& entries, bool detailed);

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_ERROR_TEXT_H_
