// Members stand in the order in which they are made; they are released in the opposite one.
#include "mtlhost/library.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <new>
#include <system_error>
#include <utility>

#include "event_stream.h"
#include "module.h"
#include "mtlhost/folder_name.h"
#include "mtlhost/system.h"
#include "platform/file_names.h"
#include "rules/address.h"
#include "rules/path.h"
#include "system_calls.h"

namespace mtlhost {

namespace {

/// A handle that the module made, and its own function to release it.
template <typename Handle>
using Owned = std::unique_ptr<Handle, void (*)(Handle*)>;

/// A CharString alone would become empty when memory runs out, which is another setting.
QUtils::CharString charStringOf(const std::string& text) {
  QUtils::CharString copy(text.c_str());
  if (copy.empty() && !text.empty()) throw std::bad_alloc();
  return copy;
}

DownloaderSettings recordOf(const Settings& settings) {
  DownloaderSettings record;
  record.remoteAddress = charStringOf(mtlrules::withoutTrailingSlashes(settings.remoteAddress));
  record.proxyMode = settings.proxyMode;
  record.proxyAddress = charStringOf(settings.proxyAddress);
  record.targetDirectory = charStringOf(withoutClimbing(settings.targetDirectory));
  record.subPath = charStringOf(settings.subPath);
  return record;
}

Result::Status statusOf(int code, bool stopped) {
  if (code > 0) return Result::Status::kUpdateAvailable;
  if (code == 0) return Result::Status::kDone;
  return stopped ? Result::Status::kCancelled : Result::Status::kFailed;
}

/// The module makes the target directory, but writes the stamp of a sub-path into a folder in it
/// that it expects to be there. Empty, or why that folder could not be made.
Errors makeStampFolder(const DownloaderSettings& settings) {
  namespace fs = std::filesystem;
  const std::string subPath = settings.subPath.text();
  if (!mtlrules::staysBelow(subPath, Platform::kHasWindowsNames)) return {};
  std::error_code error;
  try {
    const fs::path target = fs::u8path(settings.targetDirectory.text());
    const fs::path folder = (target / fs::u8path(mtlrules::plainPath(subPath))).make_preferred();
    fs::create_directories(folder, error);
    std::error_code ignored;
    // Why there is no target directory, the module says itself.
    if (!error || !fs::is_directory(target, ignored)) return {};
    return {ownError("Could not make the folder \"" + folder.u8string() + '"'),
            ownError(systemErrorText(error))};
  } catch (const std::system_error&) {
    // Not a name that this system can have: the module says that too.
    return {};
  }
}

/// No call fails without a word.
Errors explanationOf(int code, const CallRecord& record) {
  if (!record.errors.empty()) return record.errors;
  if (!record.lastWarning.empty()) return {ownError(record.lastWarning)};
  return {ownError("the run failed (code " + std::to_string(code) + ")")};
}

}  // namespace

struct Library::Impl {
  using Entry = std::int32_t (*)(DownloaderImpl* downloader);

  Impl(Module loaded, const Settings& settings, Observer& observer)
      : module(std::move(loaded)),
        context(table().createNetworkContext(), table().destroyNetworkContext),
        record(recordOf(settings)),
        events(observer),
        downloader(table().createDownloader(&events, &record), table().destroyDownloader) {}

  const DownloaderInterface& table() const { return module.table(); }
  bool isUsable(Errors& problem) const;
  /// Asks the module, once `prepare` has found no failure.
  Result call(Entry entry, Errors (*prepare)(const DownloaderSettings& settings));
  bool isForked() const { return processId() != process; }

  const std::int64_t process = processId();
  Module module;
  Owned<NetworkContext> context;
  DownloaderSettings record;
  EventStream events;
  Owned<DownloaderImpl> downloader;
  std::atomic<bool> busy{false};
};

bool Library::Impl::isUsable(Errors& problem) const {
  std::array<char, 4096> text{};
  const int code = table().getKrellNetworkingStatus(
      context.get(), static_cast<std::int32_t>(text.size()), text.data());
  if (code != 0) {
    problem = {ownError("The networking library could not be started"),
               {"", code, text.front() != '\0' ? text.data() : "out of memory"}};
  } else if (downloader == nullptr) {
    problem = {ownError("Out of memory")};
  }
  return code == 0 && downloader != nullptr;
}

Result Library::Impl::call(Entry entry, Errors (*prepare)(const DownloaderSettings& settings)) {
  if (isForked()) {
    return {Result::Status::kFailed, -1, {ownError("the library was opened in another process")}};
  }
  if (busy.exchange(true)) return {Result::Status::kBusy, -1, {}};
  // However it ends: the module may run out of memory.
  struct End {
    ~End() {
      impl.events.finish();
      impl.busy = false;
    }
    Impl& impl;
  } const end{*this};

  if (events.isCancelled()) {
    return {Result::Status::kCancelled, -1, {ownError("cancelled before it began")}};
  }
  if (Errors problem = prepare(record); !problem.empty()) {
    return {Result::Status::kFailed, -1, std::move(problem)};
  }
  const int code = entry(downloader.get());
  const CallRecord told = events.finish();
  if (told.failure) std::rethrow_exception(told.failure);
  return {statusOf(code, told.stopped), code, code < 0 ? explanationOf(code, told) : Errors()};
}

// The threads that the module would wait for stayed in the process that was forked.
void Library::Close::operator()(Impl* impl) const {
  if (!impl->isForked()) delete impl;
}

Library::Library(std::unique_ptr<Impl, Close> impl) : impl_(std::move(impl)) {}
Library::Library(Library&& other) noexcept = default;
Library& Library::operator=(Library&& other) noexcept = default;
Library::~Library() = default;

std::optional<Library> Library::open(const Settings& settings, Observer& observer,
                                     Errors& problem) {
  std::optional<Module> module = Module::load(settings.moduleFile, problem);
  if (!module) return std::nullopt;
  std::unique_ptr<Impl, Close> impl(new Impl(std::move(*module), settings, observer));
  if (!impl->isUsable(problem)) return std::nullopt;
  return Library(std::move(impl));
}

Result Library::check() {
  return impl_->call(impl_->table().checkForUpdate, [](const auto&) { return Errors(); });
}

Result Library::run() {
  return impl_->call(impl_->table().runDownload, makeStampFolder);
}

void Library::cancel() noexcept {
  impl_->events.cancel();
}

}  // namespace mtlhost
