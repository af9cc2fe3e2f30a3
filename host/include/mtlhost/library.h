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

#include <memory>
#include <optional>
#include <string>

#include "mtlhost/error.h"
#include "mtlhost/observer.h"
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
  /// "proxy.example:3128", with PROXY_MODE_EXPLICIT.
  std::string proxyAddress;
  /// The module to load. When empty, the one in ownFolder(), or else the one that the system's
  /// loader finds under the name moduleFileName().
  std::string moduleFile;
};

/// How a check or run ended.
struct Result {
  /// The ways to end.
  enum class Status {
    kDone,             ///< The copy is up to date; after run(), perhaps only now.
    kUpdateAvailable,  ///< Of check() only.
    kFailed,           ///< `errors` tell why.
    kCancelled,        ///< By cancel() or by the observer.
    kBusy              ///< Not begun: another one is under way.
  };
  Status status = Status::kFailed;  ///< Which of them it was.
  /// What the module returned; -1 when it was not asked.
  int code = -1;
  /// Never empty when failed or cancelled; else always.
  Errors errors;
};

/// A loaded module with everything that one remote library and its copy take. Whatever it
/// loaded and made is released by the destructor, in the order that the module asks for.
///
/// Threads: any thread may use it, one at a time; cancel() may be called by others
/// meanwhile. Several of them may run at once, each on a thread of its own; two must not
/// share a target directory. It is neither moved nor destroyed while used.
///
/// Processes: it belongs to the one that opened it. In a forked one, check() and run() fail at
/// once, the destructor leaves everything to the other process, and a library of its own can
/// be opened.
class Library {
 public:
  /// Loads the module and starts its networking. Empty, with the reason in `problem`, when
  /// the module cannot be found, loaded or used. Nothing is transferred or written yet.
  ///
  /// The observer must outlive the library.
  static std::optional<Library> open(const Settings& settings, Observer& observer, Errors& problem);

  /// The other one may only be assigned to, or destroyed.
  Library(Library&& other) noexcept;
  /// Releases what this one has, and takes what the other one has.
  Library& operator=(Library&& other) noexcept;
  ~Library();

  /// Tells whether the remote library has changed, without writing anything.
  Result check();

  /// Brings the local copy up to date. A run that failed or was cancelled leaves it marked
  /// as old, so that the next run starts over.
  Result run();

  /// Ends the check or run that is under way within 200 ms, or else the next one before it
  /// begins: a request that comes a moment too early is not lost. It is used up by the
  /// check or run that it ends, and by one that is done before it notices. Any thread may
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
