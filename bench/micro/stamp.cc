// Measures what a signed library costs its clients: each check of the stamp, and the list of each
// update.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <string>

#include "signing/minisign_files.h"
#include "signing/release_comment.h"
#include "signing/secret_key.h"
#include "signing/signature.h"

namespace {

mtlsigning::SecretKey secretKey() {
  std::string problem;
  return mtlsigning::SecretKeyFile::parse(minisign_files::kSecretKey)
      .value()
      .open("", problem)
      .value();
}

// All that is computed when nothing has changed.
void checkStamp(benchmark::State& state) {
  const mtlsigning::SecretKey key = secretKey();
  const std::string comment =
      "library: oak; serial: 1767225600; published: 2026-01-01T00:00:00Z; list: 812 bytes";
  const std::string stamp = mtlsigning::signatureFile(key.sign("", comment));
  bool isGood = true;
  for ([[maybe_unused]] auto _ : state) {
    std::string problem;
    const auto signature = mtlsigning::signatureFrom(stamp, problem);
    isGood = isGood && signature && mtlsigning::isCommentSigned(*signature, key.publicKey()) &&
             mtlsigning::releaseFrom(signature->comment);
  }
  if (!isGood) state.SkipWithError("a good stamp was refused");
}
BENCHMARK(checkStamp);

// Besides, when something has: of a list of 170 bytes a file, for 7,000 and 200,000 files.
void checkList(benchmark::State& state) {
  const mtlsigning::SecretKey key = secretKey();
  const std::string list(static_cast<std::size_t>(state.range(0)), 'x');
  const mtlsigning::Signature signature = key.sign(list, "");
  bool isGood = true;
  for ([[maybe_unused]] auto _ : state)
    isGood = isGood && mtlsigning::isContentSigned(signature, key.publicKey(), list);
  if (!isGood) state.SkipWithError("a good list was refused");
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(checkList)->Arg(1'200'000)->Arg(34'000'000);

}  // namespace
