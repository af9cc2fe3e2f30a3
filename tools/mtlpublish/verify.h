// Checks a published library as its clients will see it.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_VERIFY_H_
#define MTLLIB_TOOLS_MTLPUBLISH_VERIFY_H_

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "mtlpublish/work_progress.h"
#include "signing/signature.h"
#include "update/session.h"

namespace mtlpublish {

struct VerifyOptions {
  /// Compare sizes alone; from a server, no file is fetched then.
  bool quick = false;
  /// Any of these may have signed the library; one of them must have, when there are any.
  std::vector<mtlsigning::PublicKey> keys{};
  /// That clients give; "" for none.
  std::string subPath{};
  OnProgress onProgress{};
};

struct VerifyResult {
  /// "NAME: what is wrong", one line each, printable, in the order of the list.
  std::vector<std::string> problems;
  /// The number of files that clients fetch, and their bytes as listed.
  std::size_t files = 0;
  std::uint64_t bytes = 0;
  /// Files whose content was not compared, since the list has no digest of it.
  std::size_t withoutDigest = 0;
  /// Files of which nothing was compared, since the list has neither a size nor, when
  /// contents are compared, a digest.
  std::size_t withoutSize = 0;
  /// Who signed what, in one line; "" for a library that is not signed.
  std::string signature{};
};

VerifyResult verifyFolder(const std::filesystem::path& folder, const VerifyOptions& options);

/// The library at the address of the session, of http or https.
VerifyResult verifyAddress(const mtlupdate::SessionOptions& session, const VerifyOptions& options);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_VERIFY_H_
