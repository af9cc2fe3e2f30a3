// Reads and writes key files, and asks for passwords.
#include "mtlpublish/key_files.h"

#include <cstddef>
#include <filesystem>
#include <iostream>
#include <system_error>

#include "mtlpublish/contained_path.h"
#include "mtlpublish/system.h"
#include "mtlpublish/whole_file.h"
#include "rules/printable.h"
#include "signing/named_key.h"

namespace mtlpublish {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kLargestFile = 4096;  // Of keys and passwords.

std::string problemWith(const std::string& file, const std::string& what) {
  return mtlrules::printable(file) + ": " + what;
}

std::string problemWith(const std::string& file, const char* what, const std::error_code& error) {
  return problemWith(file, what + (": " + errorMessage(error)));
}

// Without the line's end. None, and the problem, when it is empty.
std::optional<std::string> firstLine(const std::string& file, std::string& problem) {
  std::string text;
  if (file == "-") {
    std::getline(std::cin, text);
  } else if (const std::error_code error = readContent(fs::u8path(file), text, kLargestFile)) {
    problem = problemWith(file, "cannot be read", error);
    return std::nullopt;
  }
  text.erase(std::min(text.find('\n'), text.size()));
  if (!text.empty() && text.back() == '\r') text.pop_back();
  if (!text.empty()) return text;
  problem = problemWith(file, "has no password in its first line");
  return std::nullopt;
}

std::optional<std::string> askedPassword(const std::string& prompt, std::string& problem) {
  std::optional<std::string> password = askPassword(prompt);
  if (!password) problem = "there is no terminal to ask for the password: give --password-file";
  return password;
}

// A new one is asked for twice, since nobody sees what is typed.
std::optional<std::string> newPassword(const PasswordSource& source, std::string& problem) {
  if (source.isNone) return std::string();
  if (!source.file.empty()) return firstLine(source.file, problem);
  std::optional<std::string> password = askedPassword("Password of the new key: ", problem);
  if (!password) return std::nullopt;
  if (password->empty()) {
    problem = "the password is empty; --no-password makes a key without one";
    return std::nullopt;
  }
  const std::optional<std::string> again = askedPassword("The same again: ", problem);
  if (!again) return std::nullopt;
  if (again == password) return password;
  problem = "the passwords are not the same";
  return std::nullopt;
}

bool isThere(const std::string& file) {
  std::error_code error;
  return fs::exists(fs::symlink_status(fs::u8path(file), error));
}

}  // namespace

std::string makeKeyPair(const std::string& name, const PasswordSource& source,
                        mtlsigning::PublicKey& key) {
  const std::string secretFile = name + ".key";
  const std::string publicFile = name + ".pub";
  for (const std::string& file : {secretFile, publicFile}) {
    if (isThere(file)) return problemWith(file, "is there already");
  }
  std::string problem;
  const std::optional<std::string> password = newPassword(source, problem);
  if (!password) return problem;
  const std::optional<mtlsigning::SecretKey> secret = mtlsigning::SecretKey::generate();
  if (!secret) return "this system has no random numbers";
  key = secret->publicKey();
  const std::string text = mtlsigning::SecretKeyFile::text(*secret, *password);
  if (text.empty()) return "there is not the gigabyte of memory that encrypting the key takes";
  if (const auto error = createFile(fs::u8path(secretFile), text, true)) {
    return problemWith(secretFile, "cannot be written", error);
  }
  if (const auto error =
          createFile(fs::u8path(publicFile), mtlsigning::publicKeyFile(key), false)) {
    std::error_code ignored;
    fs::remove(fs::u8path(secretFile), ignored);
    return problemWith(publicFile, "cannot be written", error);
  }
  return {};
}

std::optional<mtlsigning::SecretKey> readSecretKey(const std::string& file,
                                                   const PasswordSource& source,
                                                   const std::string& publishedFolder,
                                                   std::string& problem) {
  std::string text;
  if (const auto error = readContent(fs::u8path(file), text, kLargestFile)) {
    problem = problemWith(file, "cannot be read", error);
    return std::nullopt;
  }
  std::error_code error;
  const fs::path published = canonicalFolder(fs::u8path(publishedFolder), error);
  if (!error && liesWithin(canonicalPath(fs::u8path(file), error), published)) {
    problem = problemWith(file, "lies in the folder that is published, and is secret");
    return std::nullopt;
  }
  const auto keyFile = mtlsigning::SecretKeyFile::parse(text);
  if (!keyFile) {
    problem = problemWith(file, "is not a secret key of minisign's format");
    return std::nullopt;
  }
  std::optional<std::string> password{""};
  if (keyFile->isEncrypted()) {
    password = source.file.empty() ? askedPassword("Password of " + file + ": ", problem)
                                   : firstLine(source.file, problem);
  }
  if (!password) return std::nullopt;
  std::optional<mtlsigning::SecretKey> key = keyFile->open(*password, problem);
  if (!key) problem = problemWith(file, problem);
  return key;
}

std::optional<mtlsigning::PublicKey> readPublicKey(const std::string& keyOrFile,
                                                   std::string& problem) {
  const mtlsigning::NamedKey named = mtlsigning::keyNamed(keyOrFile);
  if (named.error) {
    problem =
        problemWith(keyOrFile, "neither a public key nor a file that can be read", named.error);
  } else if (!named.key) {
    problem = problemWith(keyOrFile, "is not a public key of minisign's format");
  }
  return named.key;
}

}  // namespace mtlpublish
