// The shell has done everything, and the bytes are the user's.
#include "process/arguments.h"

namespace process {

std::vector<std::string> Arguments::textsOf(int count, const char* const* values) {
  return {values, values + count};
}

}  // namespace process
