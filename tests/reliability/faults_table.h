// The table of faults as the documents have it.
#ifndef MTLLIB_TESTS_RELIABILITY_FAULTS_TABLE_H_
#define MTLLIB_TESTS_RELIABILITY_FAULTS_TABLE_H_

#include <string>

/// The document with what stands between its two marker lines replaced by the table of
/// all faults; "" when it has no such lines.
std::string withFaultsTable(const std::string& document);

#endif  // MTLLIB_TESTS_RELIABILITY_FAULTS_TABLE_H_
