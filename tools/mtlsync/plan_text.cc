// Formats plans and differences. Paths come from a server and are escaped before they are printed.
#include "mtlsync/plan_text.h"

#include <array>
#include <cstdint>
#include <cstdio>

#include "common/quantity_text.h"
#include "rules/printable.h"

namespace mtlsync {

namespace {

using ChangeKind = mtlhost::FileChange::Kind;

const char* wordFor(ChangeKind kind) {
  switch (kind) {
    case ChangeKind::kFetched:
      return "fetch ";
    case ChangeKind::kCopied:
      return "copy  ";
    case ChangeKind::kWithdrawn:
      return "leave ";
    case ChangeKind::kRemoved:
      return "remove";
    case ChangeKind::kSkipped:
      return "skip  ";
  }
  return "";
}

std::string lineFor(const mtlhost::FileChange& file) {
  std::string line = std::string(wordFor(file.kind)) + "  " + file.path;
  if (file.kind == ChangeKind::kWithdrawn) line += ": the library no longer has it";
  if (!file.source.empty()) line += ", from " + file.source;
  if (!file.reason.empty()) line += ": " + file.reason;
  if (file.size) line += " (" + common::bytesText(*file.size) + ")";
  return mtlrules::printableLine(line);
}

std::string amountText(const mtlhost::Amount& amount) {
  return std::to_string(amount.files) + (amount.files == 1 ? " file, " : " files, ") +
         common::bytesText(amount.bytes);
}

}  // namespace

const char* nameOf(ChangeKind kind) {
  switch (kind) {
    case ChangeKind::kFetched:
      return "fetched";
    case ChangeKind::kCopied:
      return "copied";
    case ChangeKind::kWithdrawn:
      return "withdrawn";
    case ChangeKind::kRemoved:
      return "removed";
    case ChangeKind::kSkipped:
      return "skipped";
  }
  return "";
}

const char* nameOf(mtlhost::Difference::Kind kind) {
  switch (kind) {
    case mtlhost::Difference::Kind::kDamaged:
      return "content";
    case mtlhost::Difference::Kind::kMissing:
      return "missing";
    case mtlhost::Difference::Kind::kExtra:
      return "extra";
    case mtlhost::Difference::Kind::kWrongSize:
      return "size";
    case mtlhost::Difference::Kind::kUnreadable:
      return "unreadable";
    case mtlhost::Difference::Kind::kChanged:
      return "changed";
  }
  return "";
}

std::string textOf(const mtlhost::Difference& difference) {
  switch (difference.kind) {
    case mtlhost::Difference::Kind::kWrongSize:
      return "has another size than in the library";
    case mtlhost::Difference::Kind::kDamaged:
      return "has another content than in the library";
    case mtlhost::Difference::Kind::kUnreadable:
      return "cannot be read: " + difference.reason;
    case mtlhost::Difference::Kind::kMissing:
      return "is missing";
    case mtlhost::Difference::Kind::kExtra:
      return "is not of the library";
    case mtlhost::Difference::Kind::kChanged:
      return "was changed, as the library allows";
  }
  return "";
}

std::vector<std::string> changeLines(const mtlhost::Result& result, bool detailed) {
  std::vector<std::string> lines;
  const auto add = [&](const char* what, const mtlhost::Amount& amount, const char* end) {
    if (amount.files > 0) lines.push_back(what + amountText(amount) + end);
  };
  add("Copied: ", result.copied, ".");
  add("Removed: ", result.removed, ".");
  add("No longer of the library: ", result.withdrawn, "; --prune removes what is.");
  if (detailed && result.isChanged) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "Files put in their places in %.1f ms.",
                  static_cast<double>(result.commitTime.count()) / 1000);
    lines.emplace_back(text.data());
  }
  return lines;
}

std::vector<std::string> planLines(const mtlhost::Plan& plan) {
  std::vector<std::string> lines;
  for (const mtlhost::FileChange& file : plan.files)
    lines.push_back(lineFor(file));
  const auto add = [&](const char* what, const mtlhost::Amount& amount) {
    if (amount.files > 0) lines.push_back(what + amountText(amount) + '.');
  };
  add("To fetch: ", plan.fetched);
  add("To copy: ", plan.copied);
  add("To replace: ", plan.replaced);
  add("To remove: ", plan.removed);
  add("No longer of the library: ", plan.withdrawn);
  add("Unchanged: ", plan.unchanged);
  if (plan.spaceNeeded > 0) {
    std::string room = "Room: " + common::bytesText(plan.spaceNeeded) + " needed";
    if (plan.spaceAvailable) room += ", " + common::bytesText(*plan.spaceAvailable) + " free";
    lines.push_back(room + '.');
  }
  return lines;
}

}  // namespace mtlsync
