// Does nothing: the library is linked with -z nodelete.
#include "platform/stay_loaded.h"

namespace Platform {

void stayLoaded() {}

}  // namespace Platform
