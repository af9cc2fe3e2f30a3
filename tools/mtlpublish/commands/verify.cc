// The command "mtlpublish verify", which checks a library in a folder or on a server.
#include "mtlpublish/verify.h"

#include <cstddef>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "mtlpublish/commands/command_line.h"
#include "mtlpublish/commands/commands.h"
#include "mtlpublish/key_files.h"
#include "mtlpublish/result_json.h"
#include "mtlpublish/work_progress.h"
#include "signing/signature.h"

namespace mtlpublish {

namespace {

namespace fs = std::filesystem;

constexpr const char* kVerifyFooter =
    R"(Checks that the id and the list are there and belong together, that clients can
read the list, that its compressed form and, in DIR, its differences give the
same list, that every system can store the listed names, and that each file that
clients fetch is there with the listed size and content; with --key, that the
list has a valid signature by one of the keys. Prints one problem per line.

CURL_CA_BUNDLE, SSL_CERT_FILE and SSL_CERT_DIR in the environment name the
authorities to trust, http_proxy, https_proxy and no_proxy the proxy.

Exit status: 0 all right, 1 problems found, 2 wrong usage.

Examples:
  mtlpublish verify library
  mtlpublish verify --quick https://materials.example/library)";

struct VerifyArguments {
  std::string library;
  bool quick = false;
  bool quiet = false;
  bool json = false;
  std::vector<std::string> keys;
  std::string subPath;
};

VerifyResult verified(const VerifyArguments& arguments, std::vector<mtlsigning::PublicKey> keys) {
  common::Console console = makeConsole(arguments.quiet);
  const VerifyOptions options{arguments.quick, std::move(keys), arguments.subPath,
                              shownOn(console)};
  if (arguments.library.find("://") == arguments.library.npos) {
    return verifyFolder(fs::u8path(arguments.library), options);
  }
  mtlupdate::SessionOptions session;
  session.address = arguments.library;
  session.userAgent = "mtlpublish/" MTLPUBLISH_VERSION;
  return verifyAddress(session, options);
}

/// What of the files is as the list says.
std::string agreementText(const VerifyResult& result, bool quick) {
  if (result.files == 0) return "as listed";
  const bool isOfSizes = quick || result.withoutDigest == result.files;
  std::string exceptions;
  if (!isOfSizes && result.withoutDigest > result.withoutSize) {
    const std::size_t count = result.withoutDigest - result.withoutSize;
    exceptions = "of " + std::to_string(count) + " only the size";
  }
  if (result.withoutSize > 0) {
    exceptions +=
        (exceptions.empty() ? "" : ", ") + std::to_string(result.withoutSize) + " without a size";
  }
  return (isOfSizes ? "sizes as listed" : "as listed") +
         (exceptions.empty() ? "" : " (" + exceptions + ")");
}

int verify(const VerifyArguments& arguments) {
  std::vector<mtlsigning::PublicKey> keys;
  for (const std::string& text : arguments.keys) {
    std::string problem;
    const auto key = readPublicKey(text, problem);
    if (!key) {
      complain(problem);
      return kWrongUsage;
    }
    keys.push_back(*key);
  }
  const VerifyResult result = verified(arguments, std::move(keys));
  if (arguments.json) {
    std::cout << jsonText(result) << '\n';
    return result.problems.empty() ? kDone : kFailed;
  }
  for (const std::string& problem : result.problems)
    std::cout << problem << '\n';
  if (!result.problems.empty()) return kFailed;
  if (arguments.quiet) return kDone;
  std::cout << filesText(result.files) << ", " << bytesText(result.bytes) << ", "
            << agreementText(result, arguments.quick) << '\n';
  if (!result.signature.empty()) std::cout << result.signature << '\n';
  return kDone;
}

}  // namespace

Command addVerifyCommand(CLI::App& program) {
  const auto arguments = std::make_shared<VerifyArguments>();
  CLI::App* command =
      program.add_subcommand("verify", "Check the library at URL or in DIR as clients do");
  addPlace(command, "URL|DIR", arguments->library,
           "Address of a library, http:// or https://, or folder");
  command->add_flag("--quick", arguments->quick,
                    "Compare sizes only, without fetching files from URL");
  addTexts(command, "--key", "KEY|FILE", arguments->keys,
           "Require a signature by this public key; repeatable");
  addText(command, "--sub-path", "PATH", arguments->subPath,
          "Check what clients that use this sub-path get");
  command->add_flag("--json", arguments->json, "Print the result as one JSON object");
  command->add_flag("-q,--quiet", arguments->quiet, "Print problems only");
  command->footer(kVerifyFooter);
  return {command, [arguments] { return verify(*arguments); }};
}

}  // namespace mtlpublish
