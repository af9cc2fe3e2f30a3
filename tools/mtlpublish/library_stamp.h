// Makes the content of id.txt: for publishers who sign, the signature of the library's list with a
// comment about the release.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_LIBRARY_STAMP_H_
#define MTLLIB_TOOLS_MTLPUBLISH_LIBRARY_STAMP_H_

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "rules/list_note.h"
#include "signing/release_comment.h"
#include "signing/secret_key.h"

namespace mtlpublish {

struct SigningOptions {
  enum class Way {
    kUnsaid,     ///< Not at all; refused for a library that was signed before.
    kNone,       ///< Not at all.
    kKey,        ///< With `key`.
    kElsewhere,  ///< By somebody else, who is given the comment.
  };
  Way way = Way::kUnsaid;
  std::optional<mtlsigning::SecretKey> key{};
  std::string library{};                       ///< Its name; "" for that of the last release.
  std::optional<std::string> subPath{};        ///< None for that of the last release.
  std::optional<std::chrono::seconds> life{};  ///< How long clients are to accept the release.
};

/// A release that is signed here or elsewhere.
struct SignedStamp {
  mtlsigning::Release release;
  std::string text;    ///< Of id.txt; "" when it is signed elsewhere.
  bool isNew = false;  ///< Else it is the one that was there, or was prepared, before.
};

/// Signs the releases of the library in one folder, each with a higher serial than those before.
class LibrarySigner {
 public:
  /// `root` is canonical. Reads what is known of the last release.
  LibrarySigner(const std::filesystem::path& root, const SigningOptions& options);

  /// Why the library cannot be signed, or not signed, as was asked; "" when it can.
  std::string problem() const;

  /// Whether clients may know the library as one that is signed.
  bool wasSigned() const;

  /// Whether there is anything to sign.
  bool isNeeded() const;

  /// The stamp for this list, with what it is to say of it. The last one stays when it is good for
  /// it: not yet half of its life is over, when it has one.
  SignedStamp sign(const std::string& list, const mtlrules::ListNote& note,
                   std::chrono::system_clock::time_point now) const;

  /// Why the publisher may want to look at the clock; "" when it is no earlier than the last
  /// release.
  std::string clockWarning(std::chrono::system_clock::time_point now) const;

  /// The library's name, as far as it is known.
  std::string libraryName() const;

  /// The sub-path that clients give, as far as it is known.
  std::string subPath() const;

 private:
  bool isStillGood(const mtlsigning::Release& release, std::int64_t now) const;
  std::optional<mtlsigning::Release> keptRelease(const std::string& list,
                                                 const mtlrules::ListNote& note,
                                                 std::int64_t now) const;

  std::filesystem::path root_;
  const SigningOptions& options_;
  std::string stamp_;  // What id.txt holds now.
  bool isRecordDamaged_ = false;
  std::optional<mtlsigning::Release> last_;
};

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_LIBRARY_STAMP_H_
