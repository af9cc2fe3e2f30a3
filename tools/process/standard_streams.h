// Standard output and error, fit for UTF-8.
#ifndef MTLLIB_TOOLS_PROCESS_STANDARD_STREAMS_H_
#define MTLLIB_TOOLS_PROCESS_STANDARD_STREAMS_H_

namespace process {

/// While it lives, what is written to the standard streams arrives byte by byte as it
/// was, and a console takes it for UTF-8 with control sequences if it can. Made by main()
/// before anything is written.
class StandardStreams {
 public:
  StandardStreams();
  /// Leaves a console to the next program as it was.
  ~StandardStreams() { restore(); }
  StandardStreams(const StandardStreams&) = delete;
  StandardStreams& operator=(const StandardStreams&) = delete;

  /// The same, for a program that ends without the destructor. Any thread may call.
  static void restore();
};

}  // namespace process

#endif  // MTLLIB_TOOLS_PROCESS_STANDARD_STREAMS_H_
