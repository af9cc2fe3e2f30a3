// What a server can do wrong, and what becomes of a run then.
#ifndef MTLLIB_TESTS_RELIABILITY_FAULT_H_
#define MTLLIB_TESTS_RELIABILITY_FAULT_H_

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "support/scripted_server.h"

/// How long the networking library that these tests load lets a server stall, or take to
/// connect, in seconds, where a run waits for that limit: long enough for all that the run
/// does besides, on a busy machine. And what each run may take in all.
inline constexpr int kShortLimitSeconds = 2;
inline constexpr int kLongestRunSeconds = 10;

struct Fault {
  const char* name;
  /// What the server does, as the documents say it.
  const char* description;
  /// The bytes of one answer; false closes the connection.
  ScriptedServer::Handler answer;
  /// How the oldest record of the chain begins; empty when the answer is taken.
  const char* cause;
  /// What is saved when the answer is taken.
  std::string saved = {};
  /// The host aborts once so many bytes of a file have arrived; 0 never.
  std::int64_t abortAt = 0;
  /// How else that record may begin, on systems that take a reset for an orderly end.
  const char* causeOfAnEnd = nullptr;

  /// Whether the run waits until a limit ends it.
  bool waitsForALimit() const;
};

inline void PrintTo(const Fault& fault, std::ostream* out) {
  *out << fault.description;
}

/// Every way of answering badly that is tried.
const std::vector<Fault>& faults();

#endif  // MTLLIB_TESTS_RELIABILITY_FAULT_H_
