// Derives the kind of content of a file from its name.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_MEDIA_TYPE_H_
#define MTLLIB_TOOLS_MTLPUBLISH_MEDIA_TYPE_H_

#include <string_view>

namespace mtlpublish {

/// The Content-Type of a file of this name, or path.
const char* mediaType(std::string_view name);

/// Whether it is a picture that browsers show.
bool isPicture(std::string_view name);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_MEDIA_TYPE_H_
