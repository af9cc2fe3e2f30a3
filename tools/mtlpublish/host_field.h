// Decides which Host fields of requests a server on this computer answers.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_HOST_FIELD_H_
#define MTLLIB_TOOLS_MTLPUBLISH_HOST_FIELD_H_

#include <string>
#include <string_view>
#include <vector>

namespace mtlpublish {

/// Whether `text` can be the name of a host: letters, digits, '-', '.' and '_'.
bool isHostName(std::string_view text);

/// True for a Host field, with or without a port, that holds an IP address, `localhost` or
/// one of `names`, in any case. A browser sends no other name unless the name's owner has
/// pointed it at this computer, in order to read what is served here.
bool isOwnHost(std::string_view field, const std::vector<std::string>& names);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_HOST_FIELD_H_
