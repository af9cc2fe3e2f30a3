// The keeper that uses the module, which it calls as the module's contract says. In addition it
// takes the lock of the copy and creates the folder of a sub-path.
#include <array>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "explanation.h"
#include "keeper.h"
#include "module.h"
#include "mtlhost/folder_name.h"
#include "mtlhost/system.h"
#include "platform/file_names.h"
#include "rules/address.h"
#include "rules/path.h"
#include "system_calls.h"
#include "update/lock.h"
#include "update/session.h"
#include "update/system.h"
#include "update/trust.h"

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
  record.proxyAddress = charStringOf(mtlrules::withoutTrailingSlashes(settings.proxyAddress));
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
Errors makeStampFolder(const DownloaderSettings& settings, const Subject& subject) {
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
    Errors problem{ownError("Could not make the folder \"" + folder.u8string() + '"'),
                   ownError(systemErrorText(error))};
    explain(problem.front(), problem.front().message,
            whyNotWritten(windowsCode(error), subject, problem.back().message), folder.u8string());
    return problem;
  } catch (const std::system_error&) {
    // Not a name that this system can have: the module says that too.
    return {};
  }
}

/// No call fails without a word.
Errors chainOf(int code, const CallRecord& record, const Subject& subject) {
  if (!record.errors.empty()) return record.errors;
  Errors chain{ownError("the run failed (code " + std::to_string(code) + ")")};
  if (record.isBeyondLimit) {
    chain.front() = limitError();
    completeAbout(chain, subject.address);
    return chain;
  }
  if (!record.lastWarning.empty()) chain.front() = ownError(record.lastWarning);
  explainWarning(chain, subject);
  return chain;
}

/// The first of the settings that the module knows nothing of, in words; "" for none.
std::string engineSettingIn(const Settings& settings) {
  const NetworkSettings& network = settings.network;
  if (!network.caFile.empty()) return "A file of authorities";
  if (!network.proxyUser.empty()) return "A user name for the proxy";
  if (!network.proxyPassword.empty()) return "A password for the proxy";
  if (!network.fields.empty()) return "A request field";
  if (!network.query.empty()) return "A query";
  if (!network.userAgent.empty()) return "A user agent";
  const bool hasTimes = network.connectTimeout.count() != 0 || network.stallTimeout.count() != 0;
  if (hasTimes || settings.update.timeLimit) return "A time limit";
  return settings.update.bytesPerSecond != 0 ? "A limit of the rate" : "";
}

class ModuleKeeper final : public Keeper {
 public:
  ModuleKeeper(Module loaded, const Settings& settings, EventStream& events)
      : module_(std::move(loaded)),
        context_(table().createNetworkContext(), table().destroyNetworkContext),
        record_(recordOf(settings)),
        folder_(copyFolder(settings.targetDirectory)),
        waitsForOthers_(settings.update.waitsForOthers),
        subject_{record_.remoteAddress.empty() ? mtlrules::defaultAddress()
                                               : record_.remoteAddress.text(),
                 record_.targetDirectory.text(), settings.subPath, "", ""},
        events_(events),
        downloader_(table().createDownloader(&events_, &record_), table().destroyDownloader) {
    trust_.forgets = settings.trust.forgetsKeys;
    events_.limit(settings.update.largestFile, settings.update.largestTotal);
    events_.explainBy([this](Errors& chain, const RequestedFiles& requested) {
      explainChain(chain, subject_, requested.failedFile(subject_.folder));
    });
  }

  bool isUsable(Errors& problem) const;

  Result check() override;
  Result run() override;
  Result plan(Plan& /*plan*/) override { return refusal(); }
  Result verify() override { return refusal(); }
  Result repair() override { return refusal(); }

 private:
  using Entry = std::int32_t (*)(DownloaderImpl* downloader);

  Result refusal() const {
    Errors problem = explained({ownError("only the engine can do this")}, ErrorKind::kSettings);
    completeAbout(problem, subject_.address);
    return failedBy(Result::Failure::kUsage, std::move(problem));
  }

  const DownloaderInterface& table() const { return module_.table(); }
  Result call(Entry entry);
  Result refusedBy(const mtlupdate::Failure& failure);
  mtlupdate::Outcome chooseProxy();
  mtlupdate::Outcome takeCopy(mtlupdate::Folder& folder, mtlupdate::Lock& lock);

  // In the order in which they are made; they are released in the opposite one.
  Module module_;
  Owned<NetworkContext> context_;
  DownloaderSettings record_;
  const std::string folder_;
  const bool waitsForOthers_;
  Subject subject_;
  mtlupdate::TrustOptions trust_{};  ///< Without keys.
  EventStream& events_;
  Owned<DownloaderImpl> downloader_;
};

bool ModuleKeeper::isUsable(Errors& problem) const {
  std::array<char, 4096> text{};
  const int code = table().getKrellNetworkingStatus(
      context_.get(), static_cast<std::int32_t>(text.size()), text.data());
  if (code != 0) {
    problem = explained({ownError("The networking library could not be started"),
                         {"", code, text.front() != '\0' ? text.data() : "out of memory"}},
                        ErrorKind::kModule);
  } else if (downloader_ == nullptr) {
    problem = explained({ownError("Out of memory")}, ErrorKind::kMemory);
  }
  return code == 0 && downloader_ != nullptr;
}

Result ModuleKeeper::call(Entry entry) {
  const int code = entry(downloader_.get());
  const CallRecord told = events_.finish();
  if (told.failure) std::rethrow_exception(told.failure);
  Result result{statusOf(code, told.stopped && !told.isBeyondLimit), code,
                code < 0 ? chainOf(code, told, subject_) : Errors()};
  if (result.status == Result::Status::kFailed) {
    result.failure = told.isBeyondLimit ? Result::Failure::kLimit : Result::Failure::kOther;
  }
  result.fetched = {told.files, told.bytes};
  result.isChanged = told.files > 0;
  result.receivedBytes = told.bytes;
  return result;
}

/// A call that was not made.
Result ModuleKeeper::refusedBy(const mtlupdate::Failure& failure) {
  const CallRecord told = events_.finish();
  if (told.failure) std::rethrow_exception(told.failure);
  return failedBy(failure, subject_);
}

// The module would send requests without a proxy that it cannot use.
mtlupdate::Outcome ModuleKeeper::chooseProxy() {
  mtlupdate::Proxy proxy;
  mtlupdate::Outcome failure;
  const std::string address = record_.proxyAddress.text();
  if (record_.proxyMode == PROXY_MODE_EXPLICIT) {
    failure = mtlupdate::parseProxy(address, proxy);
  } else if (record_.proxyMode != PROXY_MODE_DISABLED) {
    // It has one for http and https.
    failure = mtlupdate::findSystemProxy(subject_.address, false, proxy);
  }
  subject_.proxy = proxy.text();
  if (failure || proxy.user.empty()) return failure;
  return mtlupdate::because(
      mtlupdate::Failure::Cause::kProxySetting,
      {mtlupdate::Failure::Kind::kUsage, "only the engine shows it a user name", proxy.text()});
}

Result ModuleKeeper::check() {
  if (const mtlupdate::Outcome failure = chooseProxy()) return refusedBy(*failure);
  mtlupdate::Folder folder;
  if (!folder_.empty() && !folder.open(folder_, false)) {
    const mtlupdate::Outcome failure = mtlupdate::Trust(trust_, "").readRecord(folder);
    if (failure) return refusedBy(*failure);
  }
  return call(table().checkForUpdate);
}

Result ModuleKeeper::run() {
  mtlupdate::Folder folder;
  mtlupdate::Lock lock;
  if (const mtlupdate::Outcome failure = chooseProxy()) return refusedBy(*failure);
  if (const mtlupdate::Outcome failure = takeCopy(folder, lock)) return refusedBy(*failure);
  if (Errors problem = makeStampFolder(record_, subject_); !problem.empty()) {
    return failedBy(Result::Failure::kDisk, std::move(problem));
  }
  return call(table().runDownload);
}

mtlupdate::Outcome ModuleKeeper::takeCopy(mtlupdate::Folder& folder, mtlupdate::Lock& lock) {
  if (folder_.empty() || folder.open(folder_, true)) return {};
  const auto shouldContinue = [this](std::int64_t holder) {
    events_.tell([holder](Observer& observer) { observer.waiting(holder); });
    return events_.isAborted(nullptr, nullptr, nullptr) == 0;
  };
  mtlupdate::Outcome failure =
      waitsForOthers_ ? lock.take(folder, shouldContinue) : lock.take(folder);
  // What else fails about a folder, the module meets too, and says in its own words.
  if (failure && failure->kind != mtlupdate::Failure::Kind::kDisk) return failure;
  return trust_.forgets ? mtlupdate::forgetTrust(folder)
                        : mtlupdate::Trust(trust_, "").readRecord(folder);
}

}  // namespace

std::unique_ptr<Keeper> openModule(const Settings& settings, EventStream& events, Errors& problem) {
  if (!settings.trust.keys.empty() || !settings.trust.libraryName.empty()) {
    problem =
        explained({ownError("Keys are for the engine only: the module cannot check signatures")},
                  ErrorKind::kSettings);
    return nullptr;
  }
  problem = proxyProblem(settings);
  if (!problem.empty()) return nullptr;
  if (const std::string setting = engineSettingIn(settings); !setting.empty()) {
    problem = explained({ownError(setting + " is for the engine only: the module has none")},
                        ErrorKind::kSettings);
    return nullptr;
  }
  if (mtlrules::hasUserName(settings.remoteAddress)) {
    const std::string address = mtlrules::withoutUserName(settings.remoteAddress);
    problem = explained({ownError("The address " + address + " has a user name")},
                        ErrorKind::kAddress, address);
    return nullptr;
  }
  if (!settings.mirrors.empty()) {
    problem = explained({ownError("Mirrors are for the engine only: the module knows one address")},
                        ErrorKind::kSettings);
    return nullptr;
  }
  std::optional<Module> module = Module::load(settings.moduleFile, problem);
  if (!module) return nullptr;
  auto keeper = std::make_unique<ModuleKeeper>(std::move(*module), settings, events);
  if (!keeper->isUsable(problem)) return nullptr;
  return keeper;
}

}  // namespace mtlhost
