// Makes the system refuse to read, write or close files, in programs that link the
// library `failing_files`.
#ifndef MTLLIB_TESTS_SUPPORT_FAILING_FILES_H_
#define MTLLIB_TESTS_SUPPORT_FAILING_FILES_H_

/// Which calls fail from now on, for code linked into the program.
struct FailingFiles {
  static inline bool reads = false;
  static inline bool writes = false;
  static inline bool closes = false;  ///< The file is closed all the same.

  /// Nothing fails any more.
  static void reset() { reads = writes = closes = false; }
};

#endif  // MTLLIB_TESTS_SUPPORT_FAILING_FILES_H_
