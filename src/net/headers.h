// Krell::Networking::Headers holds header fields that are sent with every request of a pool.
#ifndef MTLLIB_NET_HEADERS_H_
#define MTLLIB_NET_HEADERS_H_

#include "net/err.h"

namespace Krell {
namespace Networking {

struct HeaderFields;

class Headers {
 public:
  /// Lengths that internalSet() takes instead of a count of bytes.
  enum TextLength : int {
    kZeroTerminated = -1,  ///< Up to the terminating zero.
    kStaticText = -2       ///< The same, of a text that lives as long as the program.
  };

  KRELL_EXPORT Headers();
  KRELL_EXPORT ~Headers();
  Headers(const Headers&) = delete;
  Headers& operator=(const Headers&) = delete;

  /// Adds the field `name` with `value`; with `replace`, instead of one already there.
  /// `index`, if given, receives its place. Returns 0 for a name or value that no
  /// header can hold.
  KRELL_EXPORT krbool internalSet(const char* name, int nameLength, const char* value,
                                  int valueLength, krbool replace, int* index);

  const HeaderFields& fields() const { return *fields_; }

 private:
  HeaderFields* fields_;
};

}  // namespace Networking
}  // namespace Krell

#endif  // MTLLIB_NET_HEADERS_H_
