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
/// Failures are values. The only exceptions are those that the host's own Observer throws, and
/// std::bad_alloc when memory runs out.
///
/// @since 1.0
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
#include "mtllib/version.h"

namespace mtlhost {

/// What to synchronise, from where, to where. All texts are UTF-8.
struct Settings {
  /// "https://materials.example/library"; the library's default address if empty. Slashes at its
  /// end are ignored.
  std::string remoteAddress;
  /// The folder of the local copy, which is created if it is missing.
  std::string targetDirectory;
  /// A sub-path of the library, of letters, digits and "-._~/"; "" for none. A run creates the
  /// folder of that name in the target directory, where the stamp is kept.
  std::string subPath;
  /// Which proxy to use.
  ProxyMode proxyMode = PROXY_MODE_SYSTEM;
  /// "proxy.example:3128", with PROXY_MODE_EXPLICIT; an HTTP proxy. A proxy that cannot be used is
  /// a failure: nothing is sent without it.
  std::string proxyAddress;
  /// The module to load, which then updates the copy in place of the engine.
  std::string moduleFile;
  /// Use the module even if `moduleFile` is empty: the one in ownFolder() or, if there is none, the
  /// one that the system's loader finds under the name moduleFileName().
  bool usesModule = false;
  /// What the engine is to do.
  UpdateSettings update{};
  /// Who must have signed the library. Used by the engine only.
  TrustSettings trust{};
  /// Other addresses of the same library, which serve the same as `remoteAddress`. Used by the
  /// engine only. If one does not answer, lags, or lacks something that was published, another one
  /// is asked. With keys, the order is random for each operation, and the library's list may add
  /// addresses, which later runs know; those with http are ignored if an address here has https.
  /// Without keys, the first one that answers, in this order, decides what the library contains,
  /// and the others serve the files that have a digest in the list.
  std::vector<std::string> mirrors{};
  /// How requests are sent. Used by the engine only.
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
    kBusy,             ///< Not begun: another operation of this Library is under way.
    kDifferent         ///< Of verify() only: `differences` says how.
  };
  /// What a host may do about a failure.
  enum class Failure {
    kNone,        ///< It did not fail.
    kOther,       ///< Any other; of the module, all except kLimit and kAnotherRun.
    kUsage,       ///< What the host asked for cannot be done in any circumstances.
    kNetwork,     ///< The network or the server: worth trying later.
    kDisk,        ///< The local disk or folder.
    kContent,     ///< What arrived, or is in the copy, is not what was published.
    kLimit,       ///< A limit of the settings would be exceeded.
    kAnotherRun,  ///< Another run is at work on the copy, perhaps of another process.
    kMemory,      ///< Not enough memory.
    /// Stamp, list or files are not what the library's publisher signed, or are older than what the
    /// copy has seen. The copy is unchanged.
    kUntrusted
  };
  Status status = Status::kFailed;  ///< Which of them it was.
  /// What the module returned or would have returned: 0 or more on success; -1 if it was not
  /// called.
  int code = -1;
  /// Never empty if failed or cancelled; otherwise always empty. The first one explains the
  /// failure.
  Errors errors{};

  Failure failure = Failure::kNone;  ///< When failed.
  /// Whether any file was put in its place or removed, possibly by a run that failed later. With
  /// the module, whether any file was fetched.
  bool isChanged = false;

  /// @name What the engine did
  /// @{
  std::string stamp{};                      ///< The library's, as far as it was fetched.
  Amount fetched{};                         ///< From the server. The module knows no other amount.
  Amount copied{};                          ///< From other files of the copy.
  Amount removed{};                         ///< Withdrawn files.
  Amount withdrawn{};                       ///< Those that stay.
  Amount unchanged{};                       ///< Files that stayed as they were.
  std::vector<std::string> changedPaths{};  ///< Files put in their places: hosts reload them.
  std::vector<std::string> removedPaths{};  ///< Files removed.
  std::chrono::microseconds commitTime{};  ///< From before the first of these until after the last.
  std::vector<Difference> differences{};   ///< Of verify().
  Amount compared{};                       ///< Files that verify() has read.
  std::int64_t receivedBytes = 0;          ///< In all: stamp, list and files. Of the module too.
  /// @}
};

/// A remote library and its local copy. The copy is kept by the engine or, if the host asks for it,
/// by the module; the README explains both. They may be used alternately on the same folder, and
/// in both cases one run at a time works on a copy, across all processes.
///
/// What the engine needs to know from one run to the next is in the folder ".mtllib" of the copy.
/// The module is loaded by open() and released by the destructor.
///
/// Threads: any thread may use it, one at a time; other threads may call cancel() meanwhile.
/// Several libraries may run at once, each on a thread of its own. A library must not be moved or
/// destroyed while it is used.
///
/// Processes: it belongs to the process that opened it. In a forked process all operations fail at
/// once, the destructor leaves everything to the other process, and a new library can be opened.
class Library {
 public:
  /// Prepares the engine, or loads the module and starts its networking. Returns an empty value,
  /// with the reason in `problem`, if the settings cannot be used, or the module cannot be found,
  /// loaded or used. Nothing is transferred or written yet.
  ///
  /// The observer must outlive the library.
  static std::optional<Library> open(const Settings& settings, Observer& observer, Errors& problem);

  /// A library that was moved from may only be assigned to or destroyed.
  Library(Library&& other) noexcept;
  /// Releases what this library has, and takes what the other one has.
  Library& operator=(Library&& other) noexcept;
  ~Library();

  /// Checks whether the remote library has changed, without writing anything.
  Result check();

  /// Brings the local copy up to date. A run that failed or was cancelled leaves it marked as old:
  /// the engine's next run continues from there, the module's starts over.
  Result run();

  /// @name Of the engine only
  /// With the module they fail with Result::Failure::kUsage.
  /// @{

  /// Finds out what run() would do, without writing anything: kDone if that is nothing, otherwise
  /// kUpdateAvailable. After a failure `plan` has what was known by then.
  Result plan(Plan& plan);

  /// Compares the copy with the list that the last run followed, without a network. If the engine
  /// has not run yet, the library's own list is used, provided that Settings::remoteAddress names
  /// one.
  Result verify();

  /// Like run(), but regardless of the stamps and reading every file: fetches what is wrong, and
  /// nothing else.
  Result repair();
  /// @}

  /// Ends the running operation within 200 ms or, if there is none, the next one before it begins,
  /// so a call that comes a moment too early is not lost. The request is used up by the operation
  /// that it ends, and by one that finishes before it notices. Any thread may call this, including
  /// an operation of the observer.
  void cancel() noexcept;

 private:
  struct Impl;
  struct Close {
    void operator()(Impl* impl) const;
  };
  explicit Library(std::unique_ptr<Impl, Close> impl);

  std::unique_ptr<Impl, Close> impl_;
};

/// The version of the kit that a program is linked with, at run time: MTLLIB_VERSION, unless the
/// program was compiled with the headers of another version.
const char* version() noexcept;

}  // namespace mtlhost

#endif  // MTLLIB_HOST_LIBRARY_H_
