// How long an abort may take in a test.
#ifndef MTLLIB_TESTS_SUPPORT_PROMPTLY_H_
#define MTLLIB_TESTS_SUPPORT_PROMPTLY_H_

#include <chrono>

/// Hosts were promised 200 ms. A machine that does five times as much at once may take so long.
constexpr std::chrono::milliseconds kPromptly{1000};

#endif  // MTLLIB_TESTS_SUPPORT_PROMPTLY_H_
