/// @file
/// Observer: receives what a check or run reports.
///
/// @since 1.0
#ifndef MTLLIB_HOST_OBSERVER_H_
#define MTLLIB_HOST_OBSERVER_H_

#include <cstdint>
#include <string>

#include "mtlhost/error.h"
#include "mtlhost/message.h"
#include "mtlhost/progress.h"
#include "mtlhost/update.h"

namespace mtlhost {

/// A host derives from it and overrides the operations that it needs; the others do nothing.
///
/// Threads: during check() and run() the operations are called on the calling thread and on a
/// thread of the library, but never two at a time, so data that only they use needs no lock. They
/// are not called outside a check or run. They may call cancel(), and nothing else of the Library.
///
/// Exceptions: an operation may throw. The check or run then ends as soon as it can, reports
/// nothing more, and throws the same exception on the thread that called it.
///
/// Arguments are valid during the call. Texts are UTF-8 as far as those of the server are.
class Observer {
 public:
  virtual ~Observer() = default;

  /// The current step: "Creating download directory".
  virtual void stage(const Message& message);

  /// Addresses, folders and decisions worth knowing when something goes wrong.
  virtual void info(const Message& message);

  /// A problem that does not end the run by itself.
  virtual void warning(const std::string& text);

  /// The same with its tag and code; a warning unless overridden.
  virtual void nonFatalError(const Error& error) { warning(error.message); }

  /// The failure that ends the check or run, including a cancelled one. The Result has it too.
  virtual void error(const Errors& chain);

  /// The progress has changed.
  virtual void progress(const Progress& progress);

  /// Asked whether to continue, whenever data arrives and at least ten times a second while
  /// anything is transferred. False cancels the check or run.
  virtual bool shouldContinue(const Transfer& transfer);

  /// @name What the engine reports
  /// The module reports none of these.
  /// @{

  /// What will be done, before any of it is done. Not called if the copy is up to date.
  virtual void planned(const Plan& plan);
  /// What was done with a file of the copy. kFetched and kCopied are reported when the content has
  /// arrived; the file gets it when all contents have.
  virtual void file(const FileChange& change);
  /// Another run is at work on the copy, and this one waits for it. The argument is its process, or
  /// 0 if unknown. Called repeatedly.
  virtual void waiting(std::int64_t process);
  /// @}

  /// @name What progress() is made of
  /// What the library reports, word for word, as in HostCallback; called before progress().
  /// @{
  virtual void progressRange(int end);                    ///< HostCallback::setProgressRange()
  virtual void progressValue(int value);                  ///< HostCallback::setProgressValue()
  virtual void progressText(const std::string& caption);  ///< HostCallback::setProgressText()
  virtual void progressBegins();                          ///< HostCallback::beginProgress()
  virtual void progressEnds();                            ///< HostCallback::endProgress()
  /// @}
};

}  // namespace mtlhost

#endif  // MTLLIB_HOST_OBSERVER_H_
