// Fuzz target: the state of the last update: whatever the file holds, it is read as a state whose
// files all lie below the folder of the copy, and which is written as it was, or as none.
#include "update/state.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host.h"
#include "rules/path.h"

namespace {

void requireGood(const std::string& bytes) {
  const std::optional<mtlupdate::State> state = mtlupdate::stateFrom(bytes);
  if (!state) return;
  std::string_view before;
  for (const mtlupdate::KnownFile& file : state->files()) {
    require(mtlrules::staysBelow(file.path, false));
    require(mtlrules::plainPath(file.path) == file.path);
    require(before < file.path);
    require(state->find(file.path) == &file);
    before = file.path;
  }
  const std::string written = mtlupdate::stateBytes(*state);
  const std::optional<mtlupdate::State> again = mtlupdate::stateFrom(written);
  require(again && mtlupdate::stateBytes(*again) == written);
}

}  // namespace

// The bytes as they are, and with the digest that they ought to have.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(bytes), size);
  requireGood(text);
  mtlupdate::Sha256 sha256;
  sha256.update(text);
  const std::optional<mtlupdate::Digest> digest = sha256.finish();
  require(digest.has_value());
  requireGood(text + std::string(digest->begin(), digest->end()));
  return 0;
}
