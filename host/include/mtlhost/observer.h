/// @file
/// Observer: what a host does about what a check or run tells.
#ifndef MTLLIB_HOST_OBSERVER_H_
#define MTLLIB_HOST_OBSERVER_H_

#include <cstdint>
#include <string>

#include "mtlhost/error.h"
#include "mtlhost/message.h"
#include "mtlhost/progress.h"
#include "mtlhost/update.h"

namespace mtlhost {

/// A host derives from it and overrides what it cares for; whatever is left does nothing.
///
/// Threads: during check() and run() the operations are called on the thread that called
/// in, and on a thread of the library, but never two at a time: they need no lock for what
/// they alone use. Outside of a check or run none is called. They may call cancel(), and
/// nothing else of the Library.
///
/// Exceptions: an operation may throw. The check or run then ends as soon as it can, tells
/// nothing more, and throws the same exception on the thread that called it.
///
/// Arguments are valid during the call. Texts are UTF-8 as far as the server's are.
class Observer {
 public:
  virtual ~Observer() = default;

  /// What the library does now: "Creating download directory".
  virtual void stage(const Message& message);

  /// Addresses, folders and decisions worth knowing when something goes wrong.
  virtual void info(const Message& message);

  /// Something that is not as it should be, and does not end the run by itself.
  virtual void warning(const std::string& text);

  /// The same with its tag and code; a warning unless overridden.
  virtual void survived(const Error& error) { warning(error.message); }

  /// The failure that ends the check or run, a cancelled one among them. The Result has it
  /// too.
  virtual void error(const Errors& chain);

  /// Something of the progress has changed.
  virtual void progress(const Progress& progress);

  /// Asked whenever data arrives, and at least ten times a second while anything is
  /// transferred, whether to go on. False cancels the check or run.
  virtual bool goOn(const Transfer& transfer);

  /// @name What the engine reports
  /// The module reports none of it.
  /// @{

  /// What is to be done, before any of it is done. Not when the copy is up to date.
  virtual void planned(const Plan& plan);
  /// Something became of a file of the copy. kFetched and kCopied come when the content is there;
  /// the file gets it when all are.
  virtual void file(const FileChange& change);
  /// Another run is at work on the copy, and is waited for: that of this process, or 0 when that is
  /// not known. Comes again and again.
  virtual void waiting(std::int64_t process);
  /// @}

  /// @name What progress() is made of
  /// What the library says, word for word, as HostCallback has it; told before progress().
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
