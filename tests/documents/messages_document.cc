// One table a way of reporting, between two marker lines that name it.
#include "documents/messages_document.h"

#include <map>
#include <sstream>

#include "qutils/system_error.h"
#include "support/temp_dir.h"

namespace {

std::string markerOf(const std::string& way, const char* which) {
  return "<!-- " + way + ": " + which + " -->\n";
}

std::string joined(const std::vector<std::string>& parts) {
  std::string text;
  for (const std::string& part : parts)
    text += (text.empty() ? "" : ", ") + part;
  return text;
}

std::string keyOf(const SourceMessage& message) {
  return "| `" + message.text + "` | ";
}

std::string cellsOf(const SourceMessage& message) {
  std::string cells = keyOf(message);
  if (!message.tags.empty()) cells += '`' + joined(message.tags) + "` | ";
  if (!message.codes.empty()) cells += joined(message.codes) + " | ";
  if (!message.files.empty()) cells += joined(message.files) + " | ";
  return cells;
}

/// What the last column says, by the first.
std::map<std::string, std::string> explanationsIn(const std::string& table) {
  std::map<std::string, std::string> explanations;
  std::istringstream lines(table);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t first = line.find(" | ");
    const std::size_t last = line.rfind(" | ", line.size() - 3);
    if (line.rfind("| `", 0) != 0 || last == std::string::npos) continue;
    explanations[line.substr(0, first + 3)] = line.substr(last + 3, line.size() - last - 5);
  }
  return explanations;
}

/// What goes over the wire, or stands in stamps, is not text for people.
bool isOfProtocol(const std::string& file) {
  return file == "answer_head.cc" || file == "request_text.cc" || file == "rules/list_note.cc";
}

/// Messages for users have a page of their own.
bool isForUsers(const std::string& file) {
  return file == "explanation.cc" || file == "chain_explanation.cc";
}

/// What only the publisher's program says, no host gets to see.
bool isOfPublisher(const std::string& file) {
  return file == "rules/published_names.cc";
}

/// The header of the table that stands there, which is the document's own.
std::string headOf(const std::string& table) {
  return table.substr(0, table.find("| `"));
}

}  // namespace

std::vector<SourceMessage> allMessages(const std::string& root) {
  std::vector<SourceFile> sources;
  for (const char* folder : {"src/", "krell_networking/src/", "host/src/", "host/c/"}) {
    for (auto& [name, code] : readTree(root + '/' + folder)) {
      if (!isOfProtocol(name) && !isOfPublisher(name) && !isForUsers(name))
        sources.push_back({folder + name, std::move(code)});
    }
  }
  std::vector<SourceMessage> messages = findMessages(sources);
  for (SourceMessage& reason :
       connectionErrorReasons(readFile(root + "/include/mtllib/transfer_progress.h"))) {
    messages.push_back(std::move(reason));
  }
  constexpr DWORD kBeyondAllCodes = 20000;
  for (DWORD code = 1; code < kBeyondAllCodes; ++code) {
    const std::string text = QUtils::systemErrorText(code).text();
    // What the system has no text for is its number alone; all texts end their line.
    const std::size_t end = text.find("\r\n");
    if (end != std::string::npos) messages.push_back({"system", text.substr(0, end), {}, {}, {}});
  }
  return messages;
}

std::string withMessages(const std::string& document, const std::vector<SourceMessage>& messages) {
  std::map<std::string, std::vector<const SourceMessage*>> ways;
  for (const SourceMessage& message : messages)
    ways[message.way].push_back(&message);
  std::string updated = document;
  for (const auto& [way, ofWay] : ways) {
    const std::size_t mark = updated.find(markerOf(way, "begin"));
    const std::size_t end = updated.find(markerOf(way, "end"));
    if (mark == std::string::npos || end == std::string::npos) return {};
    const std::size_t begin = mark + markerOf(way, "begin").size();
    const std::string old = updated.substr(begin, end - begin);
    const std::map<std::string, std::string> explanations = explanationsIn(old);
    std::string table = headOf(old);
    for (const SourceMessage* message : ofWay) {
      const auto known = explanations.find(keyOf(*message));
      table += cellsOf(*message) + (known != explanations.end() ? known->second : "") + " |\n";
    }
    updated.replace(begin, end - begin, table);
  }
  return updated;
}

std::vector<std::string> unexplainedRows(const std::string& document) {
  std::vector<std::string> rows;
  for (const auto& [row, explanation] : explanationsIn(document))
    if (explanation.empty()) rows.push_back(row);
  return rows;
}
