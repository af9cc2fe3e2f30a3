// The fields behind Krell::Networking::Headers.
#ifndef KRELL_NETWORKING_HEADER_FIELDS_H_
#define KRELL_NETWORKING_HEADER_FIELDS_H_

#include <string>
#include <vector>

namespace Krell {
namespace Networking {

struct HeaderField {
  std::string name;
  std::string value;
};

struct HeaderFields {
  std::vector<HeaderField> list;
};

}  // namespace Networking
}  // namespace Krell

#endif  // KRELL_NETWORKING_HEADER_FIELDS_H_
