// A key is text, or the name of a file that has it: what is not the one may be the other.
#include "trust.h"

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#include "keeper.h"
#include "module.h"
#include "mtlhost/system.h"
#include "rules/path.h"
#include "update/system.h"

namespace mtlhost {

namespace {

/// In bytes: a file with a key has some 100.
constexpr std::size_t kLargestKeyFile = 4096;

std::error_code readKeyFile(const std::string& name, std::string& text) {
  try {
    errno = 0;
    std::ifstream file(std::filesystem::u8path(name), std::ios::binary);
    text.resize(kLargestKeyFile);
    if (file) file.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (!file && !file.eof()) return {errno != 0 ? errno : EIO, std::generic_category()};
    text.resize(static_cast<std::size_t>(file.gcount()));
    return {};
  } catch (const std::system_error& error) {
    return error.code();  // Not a name that this system can have.
  }
}

std::optional<mtlsigning::PublicKey> keyOf(const std::string& keyOrFile, Errors& problem) {
  if (auto key = mtlsigning::publicKeyFrom(keyOrFile)) return key;
  std::string text;
  if (const std::error_code error = readKeyFile(keyOrFile, text)) {
    problem = {ownError('"' + keyOrFile + "\" is neither a public key nor a file that can be read"),
               ownError(systemErrorText(error))};
    return std::nullopt;
  }
  auto key = mtlsigning::publicKeyFrom(text);
  if (!key) {
    problem = {ownError("The file \"" + keyOrFile + "\" has no public key of minisign's format")};
  }
  return key;
}

}  // namespace

std::optional<mtlupdate::TrustOptions> trustOptionsOf(const TrustSettings& settings,
                                                      Errors& problem) {
  mtlupdate::TrustOptions options;
  options.library = settings.libraryName;
  options.allowsExpired = settings.allowsExpired;
  options.forgets = settings.forgetsKeys;
  for (const std::string& keyOrFile : settings.keys) {
    const auto key = keyOf(keyOrFile, problem);
    if (!key) return std::nullopt;
    options.keys.push_back(*key);
  }
  if (!settings.libraryName.empty() && options.keys.empty()) {
    problem = {ownError("A library's name is checked with keys only, and none are given")};
    return std::nullopt;
  }
  return options;
}

std::optional<CopySignature> copySignature(const std::string& targetDirectory,
                                           const std::string& subPath, const TrustSettings& trust,
                                           Errors& problem) {
  TrustSettings settings = trust;
  settings.forgetsKeys = false;
  const std::optional<mtlupdate::TrustOptions> options = trustOptionsOf(settings, problem);
  if (!options) return std::nullopt;
  mtlupdate::Folder folder;
  if (folder.open(copyFolder(targetDirectory), false)) return CopySignature{};
  const mtlupdate::LocalStamp stamp =
      mtlupdate::lookAtStamp(folder, *options, mtlrules::plainPath(subPath));
  CopySignature signature;
  signature.needsKeys = stamp.needsKeys;
  if (options->keys.empty()) {
    if (stamp.looksSigned) signature.kind = CopySignature::Kind::kUnchecked;
  } else if (stamp.failure) {
    signature.kind = CopySignature::Kind::kBad;
    signature.problem = stamp.failure->text;
  } else {
    const mtlsigning::Release& release = stamp.release.release;
    signature.kind = CopySignature::Kind::kGood;
    signature.libraryName = release.library;
    signature.serial = release.serial;
    signature.published = release.published;
    signature.expires = release.expires;
    signature.keyId = mtlsigning::idText(stamp.release.key.id);
  }
  return signature;
}

}  // namespace mtlhost
