// A minimal host on the kit. usage: kit_host MODULE URL DIRECTORY
#include <mtlhost/library.h>
#include <mtlhost/utf8.h>

#include <iostream>

struct Shown final : mtlhost::Observer {
  void progressText(const std::string& caption) override {
    std::cout << mtlhost::printableLine(caption) << '\n';
  }
};

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  mtlhost::Settings settings;
  settings.moduleFile = argv[1];
  settings.remoteAddress = argv[2];
  settings.targetDirectory = argv[3];
  Shown shown;
  mtlhost::Errors errors;
  auto library = mtlhost::Library::open(settings, shown, errors);
  if (library) errors = library->run().errors;
  for (const mtlhost::Error& error : errors)
    std::cout << mtlhost::printableLine(error.message) << '\n';
  if (!library) return 2;
  return errors.empty() ? 0 : 1;
}
