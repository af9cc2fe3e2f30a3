// Computes where the files of a library are, on the server and in the local copy.
#include <string>

#include "catalogue/library_copy.h"
#include "qutils/whole_text.h"
#include "rules/address.h"
#include "rules/own_names.h"
#include "rules/path.h"

using QUtils::CharString;
using QUtils::wholeText;

CharString LibraryCopy::makeFullPath(const char* relative, PathSide side) const {
  const char* below = relative != nullptr ? relative : "";
  return wholeText(side == PathSide::kRemote
                       ? mtlrules::urlPath(remotePath.text(), below)
                       : mtlrules::joinedPath(settings->targetDirectory.text(), below));
}

CharString LibraryCopy::stampPath(PathSide side) const {
  return makeFullPath(mtlrules::stampName(settings->subPath.text()).c_str(), side);
}
