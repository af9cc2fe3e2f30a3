// Loads the module. Every refusal names the file and the reason.
#include "module.h"

#include <filesystem>
#include <system_error>

#include "explanation.h"
#include "mtlhost/system.h"
#include "update/system.h"

namespace mtlhost {

namespace {

namespace fs = std::filesystem;

/// What the system's loader is given: it searches for a bare name, and for no other.
std::string fileToLoad(const std::string& file) {
  try {
    if (!file.empty()) return fs::absolute(fs::u8path(file)).make_preferred().u8string();
    const std::string folder = ownFolder();
    fs::path beside = fs::u8path(folder) / moduleFileName();
    std::error_code error;
    const bool isBeside = !folder.empty() && fs::exists(beside, error);
    return isBeside ? beside.make_preferred().u8string() : moduleFileName();
  } catch (const std::system_error&) {
    // Not a name that this system can have: it will say so.
    return file;
  }
}

std::string openingOf(const std::string& chosen, bool isFound) {
  if (isFound) return "Could not use the module \"" + chosen + '"';
  return "Could not find the module \"" + chosen + "\" in \"" + ownFolder() +
         "\" or where the system looks; moduleFile names it";
}

}  // namespace

std::string moduleFileName() {
  return MTLHOST_MODULE_FILE_NAME;
}

std::string systemErrorText(int number) {
  return systemErrorText(std::error_code(number, std::system_category()));
}

std::string systemErrorText(const std::error_code& error) {
  return mtlupdate::systemText(error);
}

Error ownError(std::string message) {
  return {"mtlhost", -1, std::move(message)};
}

std::optional<Module> Module::load(const std::string& file, Errors& problem) {
  const std::string chosen = fileToLoad(file);
  std::string reason;
  SharedLibrary library(chosen, reason);
  const bool isSearched = chosen == moduleFileName();
  const auto refuse = [&](const std::string& cause) {
    problem =
        explained({ownError(openingOf(chosen, library.isLoaded() || !isSearched)), ownError(cause)},
                  ErrorKind::kModule, chosen, "Reinstall the program, or choose another module.");
    return std::nullopt;
  };

  if (!library.isLoaded()) return refuse(reason);
  const auto init = reinterpret_cast<InitDownloaderInterfaceFunction>(
      library.symbol(INIT_DOWNLOADER_INTERFACE_NAME));
  if (init == nullptr) {
    return refuse(std::string("it has no ") + INIT_DOWNLOADER_INTERFACE_NAME + "()");
  }
  Module module(std::move(library));
  init(&module.table_);
  if (module.table_.version != DOWNLOADER_INTERFACE_VERSION) {
    return refuse("its interface has version " + std::to_string(module.table_.version) + ", not " +
                  std::to_string(DOWNLOADER_INTERFACE_VERSION));
  }
  return module;
}

}  // namespace mtlhost
