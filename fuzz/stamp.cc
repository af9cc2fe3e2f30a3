// Fuzz target: stamps that are signatures, and keys: whatever the bytes are, what is read of them
// is written as it was, no byte beyond the limit counts, and none but the one stamp that was signed
// is accepted.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "host.h"
#include "signing/minisign_files.h"
#include "signing/release_comment.h"
#include "signing/secret_key.h"
#include "signing/signature.h"

namespace {

using namespace minisign_files;

// Each CR LF as LF.
std::string withoutReturns(std::string text) {
  for (std::size_t at = 0; (at = text.find("\r\n", at)) != text.npos;)
    text.erase(at, 1);
  return text;
}

void requireGoodSignature(const std::string& text) {
  std::string problem;
  const auto signature = mtlsigning::signatureFrom(text, problem);
  require(signature.has_value() == problem.empty());
  if (!signature) return;
  require(text.size() <= mtlsigning::kLargestSignature);
  require(mtlsigning::signatureFile(*signature) == withoutReturns(text));
  const auto release = mtlsigning::releaseFrom(signature->comment);
  require(!release || mtlsigning::commentText(*release) == signature->comment);
  static const mtlsigning::PublicKey key = mtlsigning::publicKeyFrom(kPublicKey).value();
  const bool isAccepted = mtlsigning::isCommentSigned(*signature, key) &&
                          mtlsigning::isContentSigned(*signature, key, kContent);
  const std::string plain = withoutReturns(text);
  require(!isAccepted || plain == kSignature || plain == kSignatureOfContent);
}

void requireGoodKeys(const std::string& text) {
  if (const auto key = mtlsigning::publicKeyFrom(text)) {
    require(mtlsigning::publicKeyFrom(mtlsigning::publicKeyFile(*key)) == key);
  }
  const auto file = mtlsigning::SecretKeyFile::parse(text);
  // What encrypted files say of memory is up to the publisher who made them.
  if (!file || file->isEncrypted()) return;
  std::string problem;
  const auto key = file->open("", problem);
  require(key.has_value() == problem.empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(bytes), size);
  requireGoodSignature(text);
  requireGoodKeys(text);
  const auto release = mtlsigning::releaseFrom(text);
  require(!release || mtlsigning::commentText(*release) == text);
  return 0;
}
