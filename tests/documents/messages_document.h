// The document that lists every text the library can report.
#ifndef MTLLIB_TESTS_DOCUMENTS_MESSAGES_DOCUMENT_H_
#define MTLLIB_TESTS_DOCUMENTS_MESSAGES_DOCUMENT_H_

#include <string>
#include <vector>

#include "documents/source_messages.h"

/// Every text that the sources below `root`, the folder of the project, can report, and
/// those of the system on POSIX.
std::vector<SourceMessage> allMessages(const std::string& root);

/// The document with the tables between its markers brought up to date. What is said about
/// a text in the last column is kept; of a new one nothing is said. Empty when a way of
/// reporting has no markers.
std::string withMessages(const std::string& document, const std::vector<SourceMessage>& messages);

/// The rows about which nothing is said.
std::vector<std::string> unexplainedRows(const std::string& document);

#endif  // MTLLIB_TESTS_DOCUMENTS_MESSAGES_DOCUMENT_H_
