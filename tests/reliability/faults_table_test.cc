// Tests that the documents name every fault that is tried, and what becomes of it.
#include "faults_table.h"

#include <gtest/gtest.h>

#include "support/temp_dir.h"

namespace {

TEST(FaultsTable, InTheDocumentsIsUpToDate) {
  const std::string document = readFile(MTLLIB_RELIABILITY_DOCUMENT);
  EXPECT_EQ(document, withFaultsTable(document)) << "Run: make documents";
}

}  // namespace
