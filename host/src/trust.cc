// Reads the keys in a host's settings, and explains why a key cannot be used.
#include "trust.h"

#include <string>

#include "explanation.h"
#include "keeper.h"
#include "module.h"
#include "mtlhost/system.h"
#include "rules/path.h"
#include "signing/named_key.h"
#include "update/system.h"

namespace mtlhost {

namespace {

std::optional<mtlsigning::PublicKey> keyOf(const std::string& keyOrFile, Errors& problem) {
  const mtlsigning::NamedKey named = mtlsigning::keyNamed(keyOrFile);
  if (named.error) {
    problem = explained(
        {ownError('"' + keyOrFile + "\" is neither a public key nor a file that can be read"),
         ownError(systemErrorText(named.error))},
        ErrorKind::kSettings, keyOrFile);
  } else if (!named.key) {
    problem = explained(
        {ownError("The file \"" + keyOrFile + "\" has no public key of minisign's format")},
        ErrorKind::kSettings, keyOrFile);
  }
  return named.key;
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
    problem =
        explained({ownError("A library's name is checked with keys only, and none are given")},
                  ErrorKind::kSettings);
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
