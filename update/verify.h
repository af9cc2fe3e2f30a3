// Comparing a copy with the list that the last update kept, without a network.
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
    kDamaged,  ///< Its content or its size is another than the listed one.
    kMissing,  ///< There is no such file.
    kExtra,    ///< The list does not name it.
    kChanged,  ///< As kDamaged, but of policy "missing": somebody may change such files.
  };

  Kind kind;
  std::string path;
};

struct VerifyResult {
  std::vector<Difference> differences{};
  std::size_t filesRead = 0;
  std::uint64_t bytesRead = 0;  ///< Up to date whenever `goOn` is asked.
};

/// Reads the files of the listing that have a digest, looks at the others' sizes, and looks for
/// files that the listing does not name. Entries that updates pass over do not count. Links are not
/// followed, and what is below them is not looked at. `goOn` is asked again and again; kCancelled
/// when it answers false.
Outcome verifyCopy(Folder& folder, const Listing& listing, std::string_view subPath,
                   const std::function<bool()>& goOn, VerifyResult& result);

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_VERIFY_H_
