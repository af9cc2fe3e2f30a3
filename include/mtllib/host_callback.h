/// @file
/// HostCallback: the object through which the library talks to its host.
///
/// @since 1.0
#ifndef MTLLIB_HOST_CALLBACK_H_
#define MTLLIB_HOST_CALLBACK_H_

#include "mtllib/error_chain.h"
#include "mtllib/transfer_progress.h"

/// @def MTLLIB_PRINTF_METHOD
/// Lets compilers check that arguments fit their format. Its parameters are the positions of the
/// format and of the first argument, counting the object as 1.
#if defined(__MINGW32__) && !defined(__clang__)
// Without the prefix this compiler would check by the rules of an old C runtime.
#define MTLLIB_PRINTF_METHOD(text, first) __attribute__((format(gnu_printf, text, first)))
#elif defined(__GNUC__)
#define MTLLIB_PRINTF_METHOD(text, first) __attribute__((format(printf, text, first)))
#else
#define MTLLIB_PRINTF_METHOD(text, first)
#endif

/// Receives everything that the library reports, and answers the one question that it asks.
/// Implemented and owned by the host; must outlive every downloader that it was given to. The order
/// of the operations is fixed: hosts may fill the table by hand.
///
/// Threads: while a call into the library runs, the progress operations and isAborted() may be
/// called on a thread of the networking library, one call at a time, and the others on the thread
/// that made the call, so a callback must be prepared for two threads at once. No operation is
/// called outside such a call.
///
/// An operation must not throw, and must not call back into the downloader.
///
/// Texts are zero-terminated UTF-8, valid during the call. Format-taking operations
/// follow the rules of printf; use vsnprintf with a length that fits (texts have no
/// length limit). An empty setting arrives as "", never as null.
class HostCallback {
 public:
  /// The value that stands for "complete"; always 1000. Called when a batch of files
  /// with a known total begins.
  virtual void setProgressRange(int end) = 0;

  /// Progress in thousandths of the bytes expected; grows within a batch. May pass
  /// the range when the server's list gives sizes that are too small.
  virtual void setProgressValue(int permille) = 0;

  /// The caption of the current phase ("Getting file list"), later with megabytes of
  /// 1,000,000 bytes appended: "Downloading files (3MB / 19MB)".
  virtual void setProgressText(const char* text) = 0;

  /// Asked before a request is sent, whenever response data arrives, and at least ten times a
  /// second while a transfer runs. 0 continues; any other value ends the transfer, and with it the
  /// run, with "Download aborted (%i)" carrying that value.
  ///
  /// `request` distinguishes requests, `progress` says how many bytes of the body have arrived, and
  /// `response` is opaque.
  virtual int isAborted(Krell::Networking::ReqTokenGeneralType* request,
                        Krell::Networking::TransferProgress* progress,
                        Krell::Networking::Response* response) = 0;

  /// The host may now show its progress display: range and value are set.
  virtual void beginProgress() = 0;

  /// A transfer phase (stamp, list, files) is over. Also called without a matching
  /// beginProgress().
  virtual void endProgress() = 0;

  /// What the run is doing now: "Creating download directory", ...
  virtual void logStage(const char* format, ...) MTLLIB_PRINTF_METHOD(2, 3) = 0;

  /// A failure that does not end the run, with the function where it occurred and its code.
  virtual void logTaggedError(const char* tag, int code, const char* format, ...)
      MTLLIB_PRINTF_METHOD(4, 5) = 0;

  /// The failure that ends the run. `chain` points at the caller's holder, valid
  /// during the call; copy the ErrorChain to keep it.
  virtual void reportError(ErrorChain* chain) = 0;

  /// A failure reported as text, without a record.
  virtual void logWarning(const char* format, ...) MTLLIB_PRINTF_METHOD(2, 3) = 0;

  /// Addresses, directories and decisions worth knowing when something goes wrong.
  virtual void logInfo(const char* format, ...) MTLLIB_PRINTF_METHOD(2, 3) = 0;

 protected:
  // Not virtual, so that the table holds the operations above and nothing else under
  // every compiler; the host destroys its object by its own type.
  ~HostCallback() = default;
};

#endif  // MTLLIB_HOST_CALLBACK_H_
