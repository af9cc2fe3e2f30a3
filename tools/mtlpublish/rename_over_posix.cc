// Readers keep the old file.
#include "mtlpublish/rename_over.h"

namespace mtlpublish {

std::error_code renameOver(const std::filesystem::path& file, const std::filesystem::path& target) {
  std::error_code error;
  std::filesystem::rename(file, target, error);
  return error;
}

}  // namespace mtlpublish
