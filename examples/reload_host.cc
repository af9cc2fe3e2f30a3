// A renderer that keeps some files of the library in memory, and reloads those that an update has
// changed and no others. usage: reload_host URL DIRECTORY PATH...
// Each PATH is a file of the library that the scene uses, such as "maps/oak.tx".
#include <mtlhost/library.h>
#include <mtlhost/utf8.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <string>

namespace {

/// The files in use: their paths in the library, and their contents.
class Scene {
 public:
  explicit Scene(const std::string& folder) : folder_(std::filesystem::u8path(folder)) {}

  void use(const std::string& path) { contents_[path] = read(path); }

  /// Reloads what is new and drops what is gone. Hosts that have the old files open or mapped may
  /// go on using those: an update replaces files, and never writes into them.
  void apply(const mtlhost::Result& result) {
    for (const std::string& path : result.changedPaths) {
      const auto used = contents_.find(path);
      if (used == contents_.end()) continue;
      used->second = read(path);
      std::cout << "Loaded " << mtlhost::printableLine(path) << ": " << used->second.size()
                << " bytes\n";
    }
    for (const std::string& path : result.removedPaths) {
      if (contents_.erase(path) > 0)
        std::cout << "Dropped " << mtlhost::printableLine(path) << '\n';
    }
  }

 private:
  std::string read(const std::string& path) const {
    std::ifstream file(folder_ / std::filesystem::u8path(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  const std::filesystem::path folder_;
  std::map<std::string, std::string> contents_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) return 2;
  mtlhost::Settings settings;
  settings.remoteAddress = argv[1];
  settings.targetDirectory = argv[2];
  settings.update.prune = true;  // Removes files that the library no longer has.
  Scene scene(settings.targetDirectory);
  for (int i = 3; i < argc; ++i)
    scene.use(argv[i]);

  mtlhost::Observer silent;
  mtlhost::Errors errors;
  auto library = mtlhost::Library::open(settings, silent, errors);
  if (library) {
    const mtlhost::Result result = library->run();
    // Even if it failed: some files may have been in place by then.
    scene.apply(result);
    errors = result.errors;
  }
  if (errors.empty()) return 0;
  std::cout << errors.front().sentence << '\n' << errors.front().hint << '\n';
  return library ? 1 : 2;
}
