// Reports who a library's stamp says has signed it, and whether that is true.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_SIGNATURE_REPORT_H_
#define MTLLIB_TOOLS_MTLPUBLISH_SIGNATURE_REPORT_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "signing/signature.h"

namespace mtlpublish {

struct SignatureReport {
  /// "NAME: what is wrong", one line each.
  std::vector<std::string> problems;
  /// Who signed what, in one line; "" for a stamp that is not signed.
  std::string text;
};

/// `now` is in seconds since 1970. Without keys, nothing is checked but that the stamp is either no
/// signature or a whole one.
SignatureReport reportSignature(std::string_view stamp, std::string_view list,
                                const std::vector<mtlsigning::PublicKey>& keys, std::int64_t now);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_SIGNATURE_REPORT_H_
