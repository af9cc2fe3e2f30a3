// Checks the signature of a stamp and describes it.
#include "mtlpublish/signature_report.h"

#include <optional>

#include "rules/list_entry.h"
#include "rules/own_names.h"
#include "rules/printable.h"
#include "signing/signed_release.h"

namespace mtlpublish {

namespace {

using mtlsigning::PublicKey;
using mtlsigning::Release;
using mtlsigning::Signature;

std::string ofStamp(const std::string& problem) {
  return std::string(mtlrules::kStampName) + ": " + problem;
}

std::vector<std::string> problemsOf(const std::optional<Release>& release, std::size_t listSize,
                                    std::int64_t now) {
  if (!release) return {ofStamp("has a comment that does not describe a release of a library")};
  std::vector<std::string> problems;
  if (release->list.size != listSize) {
    problems.push_back(ofStamp("was signed for a list of another size"));
  }
  if (release->expires && *release->expires <= now) {
    problems.push_back(ofStamp("expired at " + mtlsigning::utcText(*release->expires)));
  }
  if (release->published > now) {
    problems.push_back(ofStamp("was published at " + mtlsigning::utcText(release->published) +
                               ", later than the clock of this computer says"));
  }
  return problems;
}

}  // namespace

SignatureReport reportSignature(std::string_view stamp, std::string_view list,
                                const std::vector<PublicKey>& keys, std::int64_t now) {
  SignatureReport report;
  if (keys.empty() && !mtlsigning::looksSigned(stamp)) return report;
  std::string problem;
  const std::optional<Signature> signature = mtlsigning::signatureFrom(stamp, problem);
  if (!signature) {
    report.problems.push_back(ofStamp(problem));
    return report;
  }
  report.text = "signed with key " + mtlsigning::idText(signature->keyId) +
                (keys.empty() ? ", which was not checked" : "") + "; " +
                mtlrules::printable(signature->comment);
  if (keys.empty()) {
    report.problems = problemsOf(mtlsigning::releaseFrom(signature->comment), list.size(), now);
    return report;
  }
  const auto release = mtlsigning::signedReleaseFrom(stamp, keys, problem);
  if (!release) {
    report.problems.push_back(ofStamp(problem));
  } else if (!mtlsigning::isContentSigned(release->signature, release->key, list)) {
    report.problems.push_back(std::string(mtlrules::kListName) +
                              ": is not the list that was signed");
  } else {
    report.problems = problemsOf(release->release, list.size(), now);
  }
  return report;
}

}  // namespace mtlpublish
