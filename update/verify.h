// Compares a copy with the list that the last update kept, without a network.
#ifndef MTLLIB_UPDATE_VERIFY_H_
#define MTLLIB_UPDATE_VERIFY_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "update/failure.h"
#include "update/listing.h"
#include "update/system.h"

namespace mtlupdate {

struct Difference {
  enum class Kind {
    kWrongSize,   ///< It has another size than the listed one.
    kDamaged,     ///< It has the listed size, and another content.
    kUnreadable,  ///< It, or a folder, cannot be read: `reason` says why.
    kMissing,     ///< There is no such file.
    kExtra,       ///< The list does not name it.
    kChanged,     ///< Its size or content is another, as policy "missing" allows.
  };

  Kind kind;
  std::string path;
  std::string reason{};  ///< In the system's words, for kUnreadable; else "".
};

struct VerifyResult {
  std::vector<Difference> differences{};
  std::size_t filesRead = 0;
  std::uint64_t bytesRead = 0;  ///< Up to date whenever `shouldContinue` is asked.
};

/// Reads the files of the listing that have a digest, looks at the others' sizes, and looks for
/// files that the listing does not name. Entries that updates pass over do not count. Links are not
/// followed, and what is below them is not looked at. What cannot be read is a difference, and does
/// not end it. `shouldContinue` is asked again and again; kCancelled
/// when it answers false.
Outcome verifyCopy(Folder& folder, const Listing& listing, std::string_view subPath,
                   const std::function<bool()>& shouldContinue, VerifyResult& result);

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_VERIFY_H_
