// A host in C++ that synchronises, and prints how a failure is explained to users: kind, about,
// sentence and hint, a line each.
// usage: failures_cpp_host ADDRESS FOLDER [NAME=VALUE...]
#include <chrono>
#include <cstdio>
#include <map>
#include <string>

#include "mtlhost/library.h"

namespace {

struct Host final : mtlhost::Observer {
  bool shouldContinue(const mtlhost::Transfer&) override { return !isCancelling; }
  bool isCancelling = false;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  std::map<std::string, std::string> options;
  for (int i = 3; i < argc; ++i) {
    const std::string option = argv[i];
    options[option.substr(0, option.find('='))] = option.substr(option.find('=') + 1);
  }
  mtlhost::Settings settings;
  settings.remoteAddress = argv[1];
  settings.targetDirectory = argv[2];
  settings.update.tries = 1;
  settings.proxyMode = PROXY_MODE_DISABLED;
  if (options.count("proxy") > 0) {
    settings.proxyMode = PROXY_MODE_EXPLICIT;
    settings.proxyAddress = options["proxy"];
  }
  settings.moduleFile = options["module"];
  settings.network.caFile = options["ca"];
  const auto secondsOf = [&](const char* name) {
    return std::chrono::seconds(options.count(name) > 0 ? std::stoi(options[name]) : 0);
  };
  settings.network.connectTimeout = secondsOf("connect");
  settings.network.stallTimeout = secondsOf("stall");
  if (options.count("key") > 0) settings.trust.keys = {options["key"]};
  Host host;
  host.isCancelling = options.count("cancel") > 0;
  mtlhost::Errors errors;
  if (auto library = mtlhost::Library::open(settings, host, errors)) errors = library->run().errors;
  if (errors.empty()) return 0;
  const mtlhost::Error& error = errors.front();
  std::printf("%s\n%s\n%s\n%s\n", mtlhost::nameOf(error.kind), error.about.c_str(),
              error.sentence.c_str(), error.hint.c_str());
  return 1;
}
