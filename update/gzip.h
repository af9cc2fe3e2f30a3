// Reads and writes the gzip format: decompresses bytes that arrive in pieces, and compresses
// texts. A gzip stream has exactly one member here, with nothing after it.
#ifndef MTLLIB_UPDATE_GZIP_H_
#define MTLLIB_UPDATE_GZIP_H_

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "update/failure.h"

namespace mtlupdate {

/// A Gunzip unpacks one content. Its memory does not depend on what comes. One thread at a time.
class Gunzip {
 public:
  /// Takes what was unpacked, in pieces of at most 64 KiB. A failure ends the unpacking.
  using Sink = std::function<Outcome(std::string_view bytes)>;

  explicit Gunzip(Sink sink);
  ~Gunzip();
  Gunzip(Gunzip&& other) noexcept;
  Gunzip& operator=(Gunzip&& other) noexcept;

  /// Takes the next bytes. Fails as the sink does; with kContent when they are not of gzip; and
  /// must not be called again then.
  Outcome feed(std::string_view bytes);

  /// The bytes have ended. kContent when that is too early.
  Outcome finish();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

/// The text as a file of gzip: the same bytes for the same text, whenever and wherever it is packed
/// by the same version of zlib. Throws std::bad_alloc.
std::string gzipped(std::string_view text);

/// The content of such a file; none when it is damaged, or more than `most` bytes.
std::optional<std::string> gunzipped(std::string_view bytes, std::size_t most);

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_GZIP_H_
