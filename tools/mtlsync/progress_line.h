// How progress looks.
#ifndef MTLLIB_TOOLS_MTLSYNC_PROGRESS_LINE_H_
#define MTLLIB_TOOLS_MTLSYNC_PROGRESS_LINE_H_

#include <cstdint>
#include <string>

namespace mtlsync {

/// Megabytes are those of the module: powers of ten.
inline constexpr std::int64_t kBytesPerMegabyte = 1000000;

/// What is known about the phase that runs.
struct Progress {
  static constexpr int kUnknown = -1;

  std::string phase;
  int permille = kUnknown;  ///< Known when the number of bytes to come is.
  std::int64_t bytes = 0;   ///< Received in this phase.
  std::int64_t totalMegabytes = 0;
  double bytesPerSecond = 0;      ///< 0 when unknown.
  double secondsLeft = kUnknown;  ///< Negative when unknown.
  std::string file{};             ///< The one that was begun last; "" when unknown.
};

/// One line of at most `columns` columns, with as much as fits of: the phase, a bar, per
/// cent, megabytes, rate, remaining time and, with its front cut, the file. What is shown
/// depends on the width, not on the file, so that a line keeps its shape.
std::string progressLine(const Progress& progress, int columns);

/// The same in a few words, for a log: "Downloading files: 30 % (5.7 of 19 MB)".
std::string progressNote(const Progress& progress);

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_PROGRESS_LINE_H_
