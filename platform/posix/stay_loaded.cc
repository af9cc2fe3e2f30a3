// The linker has seen to it.
#include "platform/stay_loaded.h"

namespace Platform {

void stayLoaded() {}

}  // namespace Platform
