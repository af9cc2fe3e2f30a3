/// @file
/// A message of the library, made a text only for those who read it.
#ifndef MTLLIB_HOST_MESSAGE_H_
#define MTLLIB_HOST_MESSAGE_H_

#include <cstdarg>
#include <string>

namespace mtlhost {

/// A printf-style message. Valid during the call that hands it over.
///
/// A large library sends two a file, most of which nobody reads: what is not asked for
/// its text costs nothing.
class Message {
 public:
  /// Both must outlive the message.
  Message(const char* format, std::va_list& arguments) : format_(format), arguments_(arguments) {}
  Message(const Message&) = delete;
  Message& operator=(const Message&) = delete;

  /// As the library wrote it: tells messages apart.
  const char* format() const { return format_; }

  /// With the arguments filled in, whatever its length; the format itself when they do not
  /// fit it.
  std::string text() const;

 private:
  const char* format_;
  std::va_list& arguments_;
};

}  // namespace mtlhost

#endif  // MTLLIB_HOST_MESSAGE_H_
