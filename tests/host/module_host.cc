// A host of the module that is in a file of its own: usage: module_host URL DIRECTORY
#include <iostream>

#include "mtlhost/library.h"

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  mtlhost::Settings settings;
  settings.usesModule = true;
  settings.remoteAddress = argv[1];
  settings.targetDirectory = argv[2];
  mtlhost::Observer observer;
  mtlhost::Errors errors;
  if (auto library = mtlhost::Library::open(settings, observer, errors)) {
    errors = library->check().errors;
  }
  for (const mtlhost::Error& error : errors)
    std::cerr << error.message << '\n';
  return errors.empty() ? 0 : 1;
}
