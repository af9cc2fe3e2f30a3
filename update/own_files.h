// The files that the engine keeps for itself in the folder of a copy, and the failures to report
// when the disk fails.
#ifndef MTLLIB_UPDATE_OWN_FILES_H_
#define MTLLIB_UPDATE_OWN_FILES_H_

#include <functional>
#include <string>
#include <string_view>
#include <system_error>

#include "update/failure.h"
#include "update/system.h"

namespace mtlupdate {

// Below mtlrules::kStateFolderName, which no entry of a list can name.
inline constexpr const char* kOwnFolder = ".mtllib";
inline constexpr const char* kLockFile = ".mtllib/lock";
inline constexpr const char* kStageFolder = ".mtllib/stage";
/// Files that have just been replaced, by numbers: a file system takes long to free what they had,
/// which can wait until all others are in their places.
inline constexpr const char* kOldFolder = ".mtllib/old";
/// What the last update left.
inline constexpr const char* kStateFile = ".mtllib/state";
/// What the next one will have, from before it places the first file until it has placed all.
inline constexpr const char* kNewStateFile = ".mtllib/state.new";
/// The text of the list that the last update followed.
inline constexpr const char* kListFile = ".mtllib/filelist.json";
/// The stamp of the release that a run brings the copy to, until it is put in its place.
inline constexpr const char* kNewStampFile = ".mtllib/stamp.new";
/// The stamps of signed releases that the copy was brought to, or was about to be.
inline constexpr const char* kTrustedFile = ".mtllib/trusted";
/// The next such file, while it is not made durable.
inline constexpr const char* kNewTrustedFile = ".mtllib/trusted.new";
/// The addresses that the list of a signed release has added to the library's, one a line.
inline constexpr const char* kMirrorsFile = ".mtllib/mirrors";
inline constexpr const char* kNewMirrorsFile = ".mtllib/mirrors.new";
/// The text of the list that a run follows, while it is not the one above.
inline constexpr const char* kNewListFile = ".mtllib/filelist.json.new";

/// A failure of kDisk about a file of the copy: `what` and the system's words.
Failure diskFailure(const char* what, std::string_view path, const std::error_code& error);

/// The whole content of a file.
std::error_code readOwnFile(Folder& folder, std::string_view path, std::string& bytes);

/// Hands the content of a file of the copy to `take` in pieces, until that fails.
std::error_code readPieces(Folder& folder, std::string_view path,
                           const std::function<Outcome(std::string_view)>& take, Outcome& failure);

/// Makes the file, in the place of one that a hard-linked copy of the folder may have, too.
std::error_code makeOwnFile(Folder& folder, std::string_view path, File& file);

/// Writes the file again.
Outcome writeOwnFile(Folder& folder, std::string_view path, std::string_view bytes);

/// Removes what is in kOldFolder, and the folder. What cannot be removed stays until the next time.
void dropOldFiles(Folder& folder);

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_OWN_FILES_H_
