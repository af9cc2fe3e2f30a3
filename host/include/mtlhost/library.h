/// @file
/// Library: a remote material library and its local copy, as a host sees them.
///
///     struct Shown : mtlhost::Observer {
///       void progress(const mtlhost::Progress& progress) override { ... }
///     } shown;
///     mtlhost::Errors problem;
///     auto library = mtlhost::Library::open(settings, shown, problem);
///     if (library) const mtlhost::Result result = library->run();
///
/// Failures are values. The only exceptions are those of the host's own Observer, and
/// std::bad_alloc when memory runs out.
#ifndef MTLLIB_HOST_LIBRARY_H_
#define MTLLIB_HOST_LIBRARY_H_

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "mtlhost/error.h"
#include "mtlhost/network.h"
#include "mtlhost/observer.h"
#include "mtlhost/trust.h"
#include "mtlhost/update.h"
#include "mtllib/downloader_settings.h"

namespace mtlhost {

/// What to synchronise, from where, to where. All texts are UTF-8.
struct Settings {
  /// "https://materials.example/library"; the library's own default when empty. Slashes at
  /// its end do not count.
  std::string remoteAddress;
  /// The folder of the local copy, made if missing.
  std::string targetDirectory;
  /// A sub-path of the library, of letters, digits and "-._~/"; "" for none. A run makes the
  /// folder of that name in the target directory, where the stamp is kept.
  std::string subPath;
  /// Which proxy to use.
  ProxyMode proxyMode = PROXY_MODE_SYSTEM;
  /// "proxy.example:3128", with PROXY_MODE_EXPLICIT; an HTTP proxy. One that cannot be used is a
  /// failure: nothing is sent without it.
  std::string proxyAddress;
  /// The module to load, which then brings the copy up to date in the engine's place.
  std::string moduleFile;
  /// Take the module even when `moduleFile` is empty: the one in ownFolder(), or else the one that
  /// the system's loader finds under the name moduleFileName().
  bool usesModule = false;
  /// What the engine is to do.
  UpdateSettings update{};
  /// Who has to have signed the library: of the engine only.
  TrustSettings trust{};
  /// Other addresses of the same library, which serve what `remoteAddress` does: of the engine
  /// only. One that does not answer, lags, or has not what was published is passed over for another
  /// one. With keys, the order is drawn for each operation, and the library's list may add
  /// addresses, which later runs know; those of http do not count where an address here is of
  /// https. Without keys, the first one that answers, in this order, says what the library has, and
  /// the others serve the files that the list has digests of.
  std::vector<std::string> mirrors{};
  /// How requests are sent: of the engine only.
  NetworkSettings network{};
};

/// How an operation ended.
struct Result {
  /// The ways to end.
  enum class Status {
    kDone,             ///< The copy is up to date; after run(), perhaps only now.
    kUpdateAvailable,  ///< Of check() and plan() only.
    kFailed,           ///< `errors` say why.
    kCancelled,        ///< By cancel() or by the observer.
    kBusy,             ///< Not begun: another one of this Library is under way.
    kDifferent         ///< Of verify() only: `differences` say in what.
  };
  /// What a host may do about a failure.
  enum class Failure {
    kNone,        ///< It did not fail.
    kOther,       ///< Any other failure, and all of the module but kLimit and kAnotherRun.
    kUsage,       ///< What was asked for cannot be done, whatever the state of things is.
    kNetwork,     ///< The network or the server: worth trying later.
    kDisk,        ///< The local disk or folder.
    kContent,     ///< What arrived, or lies there, is not what was published.
    kLimit,       ///< A limit of the settings would be exceeded.
    kAnotherRun,  ///< Another run is at work on the copy, perhaps of another process.
    kMemory,      ///< Not enough memory.
    /// Stamp, list or files are not what the library's publisher signed, or older than what the
    /// copy has had. The copy is as it was.
    kUntrusted
  };
  Status status = Status::kFailed;  ///< Which of them it was.
  /// What the module returned, or would have: 0 or more when all is well; -1 when it was not asked.
  int code = -1;
  /// Never empty when failed or cancelled; else always. The first one explains the failure.
  Errors errors{};

  Failure failure = Failure::kNone;  ///< When failed.
  /// Some file was put in its place or removed. A run that failed may have got that far. With the
  /// module: some file was fetched.
  bool isChanged = false;

  /// @name What the engine did
  /// @{
  std::string stamp{};                      ///< The library's, as far as it was fetched.
  Amount fetched{};                         ///< From the server. The module knows no other amount.
  Amount copied{};                          ///< From other files of the copy.
  Amount removed{};                         ///< Withdrawn files.
  Amount withdrawn{};                       ///< Those that stay.
  Amount left{};                            ///< Files that stayed as they were.
  std::vector<std::string> changedPaths{};  ///< Files put in their places: hosts load them anew.
  std::vector<std::string> removedPaths{};  ///< Files removed.
  std::chrono::microseconds commitTime{};  ///< From before the first of these until after the last.
  std::vector<Difference> differences{};   ///< Of verify().
  Amount compared{};                       ///< Files that verify() has read.
  std::int64_t receivedBytes = 0;          ///< In all: stamp, list and files. Of the module too.
  /// @}
};

/// All that one remote library and its copy take. There are two ways to keep a copy, and both may
/// serve the same folder by turns:
///
/// The engine, unless the settings say otherwise. It fetches what has changed, checks the digests
/// that the library's list has, and replaces files whole, once all of them are there. What it needs
/// to know from one run to the next is in the folder ".mtllib" of the copy.
///
/// The module, which fetches all that the list selects as soon as the stamp has changed. It is
/// loaded by open(), and released by the destructor.
///
/// Either way one run at a time works on a copy, whichever processes they are of.
///
/// Threads: any thread may use it, one at a time; cancel() may be called by others
/// meanwhile. Several of them may run at once, each on a thread of its own. It is neither moved
/// nor destroyed while used.
///
/// Processes: it belongs to the one that opened it. In a forked one, all operations fail at
/// once, the destructor leaves everything to the other process, and a library of its own can
/// be opened.
class Library {
 public:
  /// Prepares the engine, or loads the module and starts its networking. Empty, with the reason in
  /// `problem`, when the settings cannot be used, or the module cannot be found, loaded or used.
  /// Nothing is transferred or written yet.
  ///
  /// The observer must outlive the library.
  static std::optional<Library> open(const Settings& settings, Observer& observer, Errors& problem);

  /// The other one may only be assigned to, or destroyed.
  Library(Library&& other) noexcept;
  /// Releases what this one has, and takes what the other one has.
  Library& operator=(Library&& other) noexcept;
  ~Library();

  /// Says whether the remote library has changed, without writing anything.
  Result check();

  /// Brings the local copy up to date. A run that failed or was cancelled leaves it marked
  /// as old: the engine's next run goes on from there, the module's starts over.
  Result run();

  /// @name Of the engine only
  /// With the module they fail, as Result::Failure::kUsage.
  /// @{

  /// Says what run() would do, without writing anything: kDone when that is nothing, else
  /// kUpdateAvailable. After a failure `plan` has what is known by then.
  Result plan(Plan& plan);

  /// Compares the copy with the list that the last run followed, without a network. Where the
  /// engine has not run yet, with the library's own list, if Settings::remoteAddress names one.
  Result verify();

  /// As run(), but whatever the stamps say, and reading every file: fetches what is wrong, and
  /// only that.
  Result repair();
  /// @}

  /// Ends the operation that is under way within 200 ms, or else the next one before it
  /// begins: a request that comes a moment too early is not lost. It is used up by the
  /// operation that it ends, and by one that is done before it notices. Any thread may
  /// call, an operation of the observer too.
  void cancel() noexcept;

 private:
  struct Impl;
  struct Close {
    void operator()(Impl* impl) const;
  };
  explicit Library(std::unique_ptr<Impl, Close> impl);

  std::unique_ptr<Impl, Close> impl_;
};

}  // namespace mtlhost

#endif  // MTLLIB_HOST_LIBRARY_H_
