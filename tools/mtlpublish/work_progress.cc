// The name comes last: it is what a narrow terminal can do without.
#include "mtlpublish/work_progress.h"

#include "common/quantity_text.h"
#include "rules/printable.h"

namespace mtlpublish {

std::string progressText(const WorkProgress& progress) {
  const auto bytesText = [](std::uint64_t bytes) {
    return common::bytesText(static_cast<std::int64_t>(bytes));
  };
  return std::to_string(progress.filesDone) + " of " + std::to_string(progress.files) +
         (progress.files == 1 ? " file, " : " files, ") + bytesText(progress.bytesDone) + " of " +
         bytesText(progress.bytes) + "  " + mtlrules::printable(progress.file);
}

}  // namespace mtlpublish
