// Makes, extends and prints error chains.
#ifndef MTLLIB_PLUGIN_ERROR_CHAIN_H_
#define MTLLIB_PLUGIN_ERROR_CHAIN_H_

#include <cstdint>

#include "mtllib/char_string.h"
#include "mtllib/error_chain.h"
#include "qutils/text_builder.h"

/// Stores a new one-record chain in `out`, whose previous content is overwritten
/// without being released: meant for an empty chain. A null `format` gives an empty
/// message. When memory runs out, `out` stays as it was.
void setError(ErrorChain& out, const char* tag, std::int32_t code, const char* format, ...)
    MTLLIB_PRINTF(4, 5);

/// As setError, but the new record takes over what `out` held as its cause.
void pushError(ErrorChain& out, const char* tag, std::int32_t code, const char* format, ...)
    MTLLIB_PRINTF(4, 5);

/// A new one-record chain, for the many operations that return one.
ErrorChain makeError(const char* tag, std::int32_t code, const char* format, ...)
    MTLLIB_PRINTF(3, 4);

/// The code of the record `index` steps behind the newest; 0 when there is none.
std::int32_t errorCode(const ErrorChain& chain, std::int32_t index);

/// Writes the chain's text, at most `size` bytes with the terminator: the records
/// newest first, " | " between them, each "[tag] code: message". Cut at a whole
/// piece when it does not fit; nothing is written for a size below 1.
void formatErrorChain(const ErrorChain& chain, char* buffer, std::int32_t size);

/// The same text without a limit; "No error" for an empty chain.
QUtils::CharString errorChainToString(const ErrorChain& chain);

#endif  // MTLLIB_PLUGIN_ERROR_CHAIN_H_
