// Handles are destroyed in the order that the library asks for.
#include "mtlsync/module.h"

#include <array>
#include <filesystem>
#include <system_error>
#include <utility>

namespace mtlsync {

namespace {

namespace fs = std::filesystem;

std::string quoted(const std::string& text) {
  return '"' + text + '"';
}

bool exists(const std::string& file) {
  std::error_code error;
  return fs::exists(fs::u8path(file), error);
}

/// The first that exists; "" when none does.
std::string firstExisting(const std::vector<std::string>& files, ErrorEntries& problem) {
  for (const std::string& file : files) {
    if (exists(file)) return file;
  }
  problem.push_back(ownError("Could not find the module; --module FILE names it"));
  for (const std::string& file : files)
    problem.push_back(ownError("there is no " + quoted(file)));
  return "";
}

/// A bare name would be searched for in the system's folders.
std::string withFolder(const std::string& file) {
  std::error_code error;
  fs::path path = fs::absolute(fs::u8path(file), error);
  return error ? file : path.make_preferred().u8string();
}

}  // namespace

std::vector<std::string> moduleCandidates(const std::string& programFolder) {
  const fs::path folder = fs::u8path(programFolder);
  const fs::path installed = folder / fs::u8path(MTLSYNC_INSTALLED_MODULE_FOLDER);
  const fs::path name = fs::u8path(moduleFileName());
  std::vector<std::string> candidates;
  for (const fs::path& candidate : {folder / name, (installed / name).lexically_normal()}) {
    std::string file = fs::path(candidate).make_preferred().u8string();
    if (candidates.empty() || file != candidates.front()) candidates.push_back(std::move(file));
  }
  return candidates;
}

std::unique_ptr<Module> Module::load(const std::string& file,
                                     const std::vector<std::string>& candidates,
                                     ErrorEntries& problem) {
  const std::string chosen = file.empty() ? firstExisting(candidates, problem) : withFolder(file);
  if (chosen.empty()) return nullptr;
  const auto refuse = [&](const std::string& cause) {
    problem = {ownError("Could not use the module " + quoted(chosen)), ownError(cause)};
    return nullptr;
  };

  std::string reason;
  auto library = std::make_unique<SharedLibrary>(chosen, reason);
  if (!library->isLoaded()) return refuse(reason);
  const auto init = reinterpret_cast<InitDownloaderInterfaceFunction>(
      library->symbol(INIT_DOWNLOADER_INTERFACE_NAME));
  if (init == nullptr) {
    return refuse(std::string("it has no ") + INIT_DOWNLOADER_INTERFACE_NAME + "()");
  }
  std::unique_ptr<Module> module(new Module(std::move(library)));
  init(&module->table_);
  if (module->table_.version != DOWNLOADER_INTERFACE_VERSION) {
    return refuse("its interface has version " + std::to_string(module->table_.version) + ", not " +
                  std::to_string(DOWNLOADER_INTERFACE_VERSION));
  }
  return module;
}

bool StartedNetwork::isUsable(ErrorEntries& problem) const {
  std::array<char, 4096> text{};
  const int code = table_.getKrellNetworkingStatus(context_, static_cast<std::int32_t>(text.size()),
                                                   text.data());
  if (code == 0) return true;
  problem = {ownError("The networking library could not be started"),
             {"", code, text.front() != '\0' ? text.data() : "out of memory"}};
  return false;
}

}  // namespace mtlsync
