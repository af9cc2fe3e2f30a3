// Makes reading, writing or closing files fail, or transfer fewer bytes than requested, in programs
// that link the library `failing_files`.
#ifndef MTLLIB_TESTS_SUPPORT_FAILING_FILES_H_
#define MTLLIB_TESTS_SUPPORT_FAILING_FILES_H_

#include <cstddef>
#include <cstdint>

/// Which calls fail from now on, for code linked into the program.
struct FailingFiles {
  static inline bool reads = false;
  static inline bool writes = false;
  static inline bool closes = false;  ///< The file is closed all the same.
  /// A call reads or writes no more bytes than so many; on POSIX systems alone, where that is
  /// no failure.
  static inline std::size_t mostBytes = SIZE_MAX;

  /// Nothing fails any more.
  static void reset() {
    reads = writes = closes = false;
    mostBytes = SIZE_MAX;
  }
};

#endif  // MTLLIB_TESTS_SUPPORT_FAILING_FILES_H_
