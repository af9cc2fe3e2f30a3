// The default implementations of Observer's functions, which do nothing.
#include "mtlhost/observer.h"

namespace mtlhost {

void Observer::stage(const Message& /*message*/) {}
void Observer::info(const Message& /*message*/) {}
void Observer::warning(const std::string& /*text*/) {}
void Observer::error(const Errors& /*chain*/) {}
void Observer::progress(const Progress& /*progress*/) {}
bool Observer::shouldContinue(const Transfer& /*transfer*/) {
  return true;
}
void Observer::planned(const Plan& /*plan*/) {}
void Observer::file(const FileChange& /*change*/) {}
void Observer::waiting(std::int64_t /*process*/) {}
void Observer::progressRange(int /*end*/) {}
void Observer::progressValue(int /*value*/) {}
void Observer::progressText(const std::string& /*caption*/) {}
void Observer::progressBegins() {}
void Observer::progressEnds() {}

}  // namespace mtlhost
