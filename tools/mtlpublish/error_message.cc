// Portable errors have portable texts.
#include "mtlpublish/error_message.h"

namespace mtlpublish {

std::string errorMessage(const std::error_code& error) {
  const std::error_condition condition = error.default_error_condition();
  return condition.category() == std::generic_category() ? condition.message() : error.message();
}

}  // namespace mtlpublish
