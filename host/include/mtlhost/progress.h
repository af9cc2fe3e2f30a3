/// @file
/// How far a check or run has come.
///
/// @since 1.0
#ifndef MTLLIB_HOST_PROGRESS_H_
#define MTLLIB_HOST_PROGRESS_H_

#include <cstdint>
#include <string>

namespace mtlhost {

/// What is known about the current phase: the stamp, the list, or the files. Megabytes have
/// 1,000,000 bytes and are rounded down.
struct Progress {
  /// The value of anything that is unknown.
  static constexpr int kUnknown = -1;

  std::string text;                        ///< The phase: "Downloading files".
  int permille = kUnknown;                 ///< 0 to 1000; known when the list has sizes.
  std::int64_t megabytesDone = 0;          ///< Received in this phase, or read by it.
  std::int64_t megabytesTotal = kUnknown;  ///< As well.
  std::int64_t bytesDone = 0;              ///< As megabytesDone, to the byte.
  std::int64_t bytesTotal = kUnknown;      ///< Of this phase; the engine knows it.
  double bytesPerSecond = 0;               ///< Over the last seconds; 0 when it is not known.
  double secondsLeft = kUnknown;           ///< Until this phase is done, going by that.
};

/// One of up to five requests that run at once; with the engine, all of them.
struct Transfer {
  std::int64_t receivedBytes = 0;  ///< Of the body of this request; of all, with the engine.
  std::int64_t totalBytes = 0;     ///< Of all bodies since the check or run began.
};

/// A caption as the library writes it, taken apart: "Downloading files (3MB / 19MB)".
struct Caption {
  std::string phase;                                 ///< "Downloading files".
  std::int64_t megabytesDone = 0;                    ///< 0 when the caption does not say.
  std::int64_t megabytesTotal = Progress::kUnknown;  ///< When the caption does not say.
};

/// Takes a caption apart. A caption that does not end like this is the name of a phase.
Caption parseCaption(const std::string& text);

}  // namespace mtlhost

#endif  // MTLLIB_HOST_PROGRESS_H_
