// The command "mtlpublish keygen", which makes a pair of keys to sign with.
#include <iostream>
#include <memory>
#include <string>

#include "mtlpublish/commands/command_line.h"
#include "mtlpublish/commands/commands.h"
#include "mtlpublish/key_files.h"
#include "rules/printable.h"
#include "signing/signature.h"

namespace mtlpublish {

namespace {

constexpr const char* kKeygenFooter =
    R"(The keys are as minisign makes them. NAME.key is secret, and encrypted with the
password. Clients are given what is in NAME.pub.

Examples:
  mtlpublish keygen oak
  mtlpublish keygen --no-password oak)";

struct KeygenArguments {
  std::string name;
  PasswordSource password;
};

int keygen(const KeygenArguments& arguments) {
  mtlsigning::PublicKey key;
  const std::string problem = makeKeyPair(arguments.name, arguments.password, key);
  if (!problem.empty()) {
    complain(problem);
    return kFailed;
  }
  if (arguments.password.isNone) {
    complain("warning: " + arguments.name +
             ".key has no password: whoever reads it can sign in your name");
  }
  std::cout << "Wrote " << mtlrules::printable(arguments.name) << ".key, which is secret, and "
            << mtlrules::printable(arguments.name) << ".pub\nPublic key "
            << mtlsigning::publicKeyText(key) << '\n';
  return kDone;
}

}  // namespace

Command addKeygenCommand(CLI::App& program) {
  const auto arguments = std::make_shared<KeygenArguments>();
  CLI::App* command =
      program.add_subcommand("keygen", "Make a pair of keys to sign libraries with");
  addPlace(command, "NAME", arguments->name, "What the files are called, without .key and .pub");
  addPasswordFile(command, arguments->password.file);
  command->add_flag("--no-password", arguments->password.isNone, "Do not encrypt the secret key");
  command->footer(kKeygenFooter);
  return {command, [arguments] { return keygen(*arguments); }};
}

}  // namespace mtlpublish
