// Reports everything that happens to other programs, as one JSON object a line.
#ifndef MTLLIB_TOOLS_MTLSYNC_JSON_EVENTS_H_
#define MTLLIB_TOOLS_MTLSYNC_JSON_EVENTS_H_

#include <cstdint>
#include <ostream>
#include <string>

#include "mtlhost/library.h"

namespace mtlsync {

/// Writes and flushes a line for each event. Whatever bytes a text holds, the line is
/// valid JSON in UTF-8. Used by one thread at a time.
class JsonEvents {
 public:
  /// Writes to `stream`, which must outlive this.
  explicit JsonEvents(std::ostream& stream) : stream_(stream) {}

  void simple(const std::string& event);
  void number(const std::string& event, int value);
  void text(const std::string& event, const std::string& text);
  void taggedError(const std::string& tag, int code, const std::string& text);
  /// How far the phase is.
  void progress(const mtlhost::Progress& progress);
  /// A file of the local copy is not as the library has it.
  void difference(const std::string& path, const std::string& kind, const std::string& text);
  /// What becomes of a file of the local copy.
  void file(const mtlhost::FileChange& change);
  /// What an update is to do, in all.
  void plan(const mtlhost::Plan& plan);
  /// Another run is waited for.
  void waiting(std::int64_t process);
  /// What the local copy is: its stamp, when that was written, the files beside it, and who has
  /// signed it.
  void status(const std::string& stamp, const std::string& since, std::int64_t files,
              std::int64_t bytes, bool isUnfinished, const mtlhost::CopySignature& signature);
  void error(const mtlhost::Errors& chain);
  /// What an update did, in all.
  void changes(const mtlhost::Result& result);
  /// `failure` is what kind of failure it was, "" for none.
  void result(int code, const std::string& status, const std::string& failure, std::int64_t files,
              std::int64_t bytes);

 private:
  std::ostream& stream_;
};

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_JSON_EVENTS_H_
