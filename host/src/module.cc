// Each refusal names the file and the reason.
#include "module.h"

#include <filesystem>
#include <system_error>

#include "mtlhost/system.h"

namespace mtlhost {

namespace {

namespace fs = std::filesystem;

/// A bare name would be searched for in the system's folders.
std::string withFolder(const std::string& file) {
  try {
    const fs::path path =
        file.empty() ? fs::u8path(ownFolder()) / moduleFileName() : fs::absolute(fs::u8path(file));
    return fs::path(path).make_preferred().u8string();
  } catch (const std::system_error&) {
    // Not a name that this system can have: it will say so.
    return file;
  }
}

}  // namespace

std::string moduleFileName() {
  return MTLHOST_MODULE_FILE_NAME;
}

Error ownError(std::string message) {
  return {"mtlhost", -1, std::move(message)};
}

std::optional<Module> Module::load(const std::string& file, Errors& problem) {
  const std::string chosen = withFolder(file);
  const auto refuse = [&](const std::string& cause) {
    problem = {ownError("Could not use the module \"" + chosen + '"'), ownError(cause)};
    return std::nullopt;
  };

  std::string reason;
  SharedLibrary library(chosen, reason);
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
