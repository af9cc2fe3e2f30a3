// An error chain as one text, for expectations.
#ifndef MTLLIB_TESTS_QUTILS_TEXT_OF_H_
#define MTLLIB_TESTS_QUTILS_TEXT_OF_H_

#include <string>

#include "plugin/error_chain.h"

inline std::string textOf(const ErrorChain& error) {
  return errorChainToString(error).text();
}

#endif  // MTLLIB_TESTS_QUTILS_TEXT_OF_H_
