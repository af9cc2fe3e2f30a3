/// @file
/// Names of folders, in UTF-8.
#ifndef MTLLIB_HOST_FOLDER_NAME_H_
#define MTLLIB_HOST_FOLDER_NAME_H_

#include <string>

namespace mtlhost {

/// The folder by a name that the module takes, which refuses relative names that climb above
/// the current folder: for "../copy" the absolute name, any other unchanged. Library does
/// this by itself; it is for hosts that look into the target directory, too.
std::string withoutClimbing(const std::string& folder);

}  // namespace mtlhost

#endif  // MTLLIB_HOST_FOLDER_NAME_H_
