// A host whose library is on a company's own server, with a certificate from the company's own
// authority. usage: own_ca URL DIRECTORY CA_FILE
#include <mtlhost/library.h>

#include <iostream>

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  mtlhost::Settings settings;
  settings.remoteAddress = argv[1];
  settings.targetDirectory = argv[2];
  // A PEM file of certificates, which are trusted in place of the system's authorities. It is read
  // when an operation connects.
  settings.network.caFile = argv[3];

  mtlhost::Observer silent;
  mtlhost::Errors errors;
  auto library = mtlhost::Library::open(settings, silent, errors);
  if (library) errors = library->run().errors;
  if (errors.empty()) return 0;
  const mtlhost::Error& error = errors.front();
  std::cout << error.sentence << '\n' << error.hint << '\n';
  if (error.kind == mtlhost::ErrorKind::kCertificate)
    std::cout << "The authorities are those of " << settings.network.caFile << ".\n";
  return library ? 1 : 2;
}
