// The texts that the library can report, as its sources have them.
#ifndef MTLLIB_TESTS_DOCUMENTS_SOURCE_MESSAGES_H_
#define MTLLIB_TESTS_DOCUMENTS_SOURCE_MESSAGES_H_

#include <string>
#include <vector>

/// A text, and wherever it is reported in one way.
struct SourceMessage {
  std::string way;                 ///< "reportError", "logWarning", ...
  std::string text;                ///< printf's format.
  std::vector<std::string> tags;   ///< Of the records that carry it.
  std::vector<std::string> codes;  ///< As well: "-1", "the system's".
  std::vector<std::string> files;  ///< Their names.
};

/// The way of texts that no reporting function is given directly.
constexpr const char* kOtherWay = "other";

struct SourceFile {
  std::string name;
  std::string code;
};

/// Every text in the sources, in their order: what the reporting functions are called with,
/// and any other literal that reads like a sentence.
std::vector<SourceMessage> findMessages(const std::vector<SourceFile>& sources);

/// The reasons of connection errors that a header defines.
std::vector<SourceMessage> connectionErrorReasons(const std::string& header);

#endif  // MTLLIB_TESTS_DOCUMENTS_SOURCE_MESSAGES_H_
