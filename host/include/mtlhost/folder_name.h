/// @file
/// Names of folders, in UTF-8.
///
/// @since 1.0
#ifndef MTLLIB_HOST_FOLDER_NAME_H_
#define MTLLIB_HOST_FOLDER_NAME_H_

#include <string>

namespace mtlhost {

/// Returns a name of the folder that the module accepts, since it refuses relative names that climb
/// above the current folder: for "../copy" the absolute name, and any other name unchanged. Library
/// does this by itself; the function is for hosts that also look into the target directory.
std::string withoutClimbing(const std::string& folder);

}  // namespace mtlhost

#endif  // MTLLIB_HOST_FOLDER_NAME_H_
