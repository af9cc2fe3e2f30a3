// Brings the table of faults in a document up to date.
// usage: write_faults_table DOCUMENT
#include <cstdio>

#include "faults_table.h"
#include "support/temp_dir.h"

int main(int argc, char** argv) {
  const std::string document = argc == 2 ? readFile(argv[1]) : "";
  const std::string updated = withFaultsTable(document);
  if (updated.empty()) {
    std::fprintf(stderr, "usage: write_faults_table DOCUMENT (with its two marker lines)\n");
    return 2;
  }
  writeFile(argv[1], updated);
  return 0;
}
