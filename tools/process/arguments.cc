// What all systems have in common.
#include "process/arguments.h"

namespace process {

Arguments::Arguments(int count, const char* const* values) : texts_(textsOf(count, values)) {
  pointers_.reserve(texts_.size());
  for (const std::string& text : texts_)
    pointers_.push_back(text.c_str());
}

}  // namespace process
