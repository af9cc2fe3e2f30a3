// They are so from the start.
#include "process/standard_streams.h"

namespace process {

StandardStreams::StandardStreams() = default;

void StandardStreams::restore() {}

}  // namespace process
