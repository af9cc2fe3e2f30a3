// Reads an answer in pieces, for the tests and the fuzz target of answers.
#ifndef KRELL_NETWORKING_TESTS_ANSWER_READING_H_
#define KRELL_NETWORKING_TESTS_ANSWER_READING_H_

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "answer.h"

/// What became of an answer.
struct Outcome : Krell::Networking::Answer::Reader {
  using Result = Krell::Networking::Answer::Result;

  bool wantsFields() const override { return true; }
  void onField(const char* name, const char* value) override {
    fields.append(name).append("=").append(value).append("\n");
  }
  void onStatus(int code) override { status = code; }
  bool onBody(const char* bytes, std::size_t size) override {
    body.append(bytes, size);
    return true;
  }
  bool operator==(const Outcome& other) const {
    return result == other.result && rule == other.rule && status == other.status &&
           (status == 0 || fields == other.fields) && body == other.body &&
           unread == other.unread && kept == other.kept;
  }

  Result result = Result::kMore;
  Krell::Networking::HttpRule rule{};
  int status = 0;
  std::string fields;  ///< "name=value", one a line.
  std::string body;
  std::size_t unread = 0;  ///< Bytes behind the answer.
  bool kept = false;       ///< Whether the connection may be used again.
};

inline std::ostream& operator<<(std::ostream& stream, const Outcome& outcome) {
  return stream << "result " << static_cast<int>(outcome.result) << ", rule " << outcome.rule
                << ", status " << outcome.status << ", fields \"" << outcome.fields << "\", body \""
                << outcome.body << "\", unread " << outcome.unread << ", kept " << outcome.kept;
}

struct Reading {
  bool toHead = false;
  bool wholly = true;
  std::int64_t mostBodyBytes = -1;
};

/// Reads `text` in pieces: the first one of `first` bytes, the others of `step`; then the
/// connection ends.
inline Outcome readInPieces(std::string_view text, const Reading& reading, std::size_t first,
                            std::size_t step) {
  Outcome outcome;
  Krell::Networking::Answer answer;
  answer.begin(Krell::Networking::AnswerLimits{}, reading.toHead, reading.mostBodyBytes);
  std::size_t place = 0;
  std::size_t size = first;
  while (place < text.size() && outcome.result == Outcome::Result::kMore) {
    // In memory of its own, so that sanitizers see what is read beyond it.
    const std::string_view part = text.substr(place, size);
    const std::vector<char> piece(part.begin(), part.end());
    const char* at = piece.data();
    outcome.result = answer.take(&at, piece.data() + piece.size(), outcome);
    place += static_cast<std::size_t>(at - piece.data());
    size = step;
  }
  if (outcome.result == Outcome::Result::kMore) outcome.result = answer.takeEnd(reading.wholly);
  if (outcome.result == Outcome::Result::kBroken) outcome.rule = answer.broken();
  if (outcome.result == Outcome::Result::kComplete) {
    outcome.unread = text.size() - place;
    outcome.kept = answer.keepsConnection();
  }
  return outcome;
}

#endif  // KRELL_NETWORKING_TESTS_ANSWER_READING_H_
