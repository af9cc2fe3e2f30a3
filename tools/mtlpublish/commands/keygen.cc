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
    R"(Writes NAME.key, the secret key to sign with, and NAME.pub, the public key for
clients, in the format of minisign. The secret key is encrypted with a password,
which is asked for on the terminal unless an option is given. Existing files are
not overwritten.

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
  CLI::App* command = program.add_subcommand("keygen", "Make a pair of keys for signing libraries");
  addPlace(command, "NAME", arguments->name, "Name of the files, without .key and .pub");
  addPasswordFile(command, arguments->password.file);
  command->add_flag("--no-password", arguments->password.isNone, "Do not encrypt the secret key");
  command->footer(kKeygenFooter);
  return {command, [arguments] { return keygen(*arguments); }};
}

}  // namespace mtlpublish
