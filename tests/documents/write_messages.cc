// Brings the tables of messages in a document up to date.
// usage: write_messages PROJECT_FOLDER DOCUMENT
#include <cstdio>

#include "documents/messages_document.h"
#include "support/temp_dir.h"

int main(int argc, char** argv) {
  const std::string document = argc == 3 ? readFile(argv[2]) : "";
  const std::string updated = argc == 3 ? withMessages(document, allMessages(argv[1])) : "";
  if (updated.empty()) {
    std::fprintf(stderr, "usage: write_messages PROJECT_FOLDER DOCUMENT (with its marker lines)\n");
    return 2;
  }
  writeFile(argv[2], updated);
  for (const std::string& row : unexplainedRows(updated))
    std::fprintf(stderr, "%s: nothing is said about %s\n", argv[2], row.c_str());
  return 0;
}
