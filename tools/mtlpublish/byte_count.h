// Byte counts for people.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_BYTE_COUNT_H_
#define MTLLIB_TOOLS_MTLPUBLISH_BYTE_COUNT_H_

#include <cstdint>
#include <string>

namespace mtlpublish {

/// "512 bytes", "1.5 kB", "19.0 MB", "2.1 GB": decimal units, one digit after the point.
std::string byteCountText(std::uint64_t bytes);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_BYTE_COUNT_H_
