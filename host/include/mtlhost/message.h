/// @file
/// A message of the library, which is formatted only if somebody reads it.
///
/// @since 1.0
#ifndef MTLLIB_HOST_MESSAGE_H_
#define MTLLIB_HOST_MESSAGE_H_

#include <cstdarg>
#include <string>

namespace mtlhost {

/// A printf-style message. Valid during the call that hands it over.
///
/// A large library sends two messages for each file, most of which nobody reads. A message whose
/// text is not requested costs nothing.
class Message {
 public:
  /// Both must outlive the message.
  Message(const char* format, std::va_list& arguments) : format_(format), arguments_(arguments) {}
  Message(const Message&) = delete;
  Message& operator=(const Message&) = delete;

  /// The format as the library wrote it, which identifies the message.
  const char* format() const { return format_; }

  /// The text with the arguments filled in, whatever its length; the format itself if the arguments
  /// do not fit it.
  std::string text() const;

 private:
  const char* format_;
  std::va_list& arguments_;
};

}  // namespace mtlhost

#endif  // MTLLIB_HOST_MESSAGE_H_
