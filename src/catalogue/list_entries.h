// Finds the entries that a run must fetch in the text of a list.
#ifndef MTLLIB_CATALOGUE_LIST_ENTRIES_H_
#define MTLLIB_CATALOGUE_LIST_ENTRIES_H_

#include <string_view>

#include "catalogue/library_copy.h"
#include "catalogue/list_file.h"
#include "mtllib/error_chain.h"

/// The tag of the errors of a list that cannot be read or is not as it should be.
inline constexpr const char* kParseListTag = "DownloaderImpl::parseListFile";

/// Adds the entries of the JSON text that are to be fetched to the list. After an error
/// the list holds those in front of the one that caused it.
void selectEntries(const LibraryCopy& copy, std::string_view text, LibraryCopy::ListFile& list,
                   ErrorChain& error);

// The two ways to do that. The first needs a fraction of the memory of the second, in which
// an entry takes several times the room of its text; the second copes with every text. Where
// both come to an end, they come to the same.

/// Parses one entry at a time. False, with the list as it was, unless the list was empty,
/// the text is an array of objects and nothing else, and each of them is a good entry.
bool selectOneByOne(const LibraryCopy& copy, std::string_view text, LibraryCopy::ListFile& list);

/// Parses the whole text before it looks at the first entry.
void selectFromWhole(const LibraryCopy& copy, std::string_view text, LibraryCopy::ListFile& list,
                     ErrorChain& error);

#endif  // MTLLIB_CATALOGUE_LIST_ENTRIES_H_
