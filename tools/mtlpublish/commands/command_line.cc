// Implements what the commands share; see command_line.h.
#include "mtlpublish/commands/command_line.h"

#include <iostream>
#include <utility>

#include "common/quantity_text.h"
#include "common/system.h"
#include "rules/printable.h"

namespace mtlpublish {

namespace {

std::string globProblem(const std::string& pattern) {
  std::string problem;
  if (Glob::parse(pattern, problem)) return {};
  return "pattern '" + pattern + "' " + problem;
}

}  // namespace

void complain(const std::string& message) {
  std::cerr << "mtlpublish: " + mtlrules::printableLine(message) + '\n';
}

int refuseUsage(const std::string& message) {
  complain(message);
  std::cerr << "Run mtlpublish --help for more information.\n";
  return kWrongUsage;
}

std::string filesText(std::size_t count) {
  return std::to_string(count) + (count == 1 ? " file" : " files");
}

std::string bytesText(std::uint64_t count) {
  return common::bytesText(static_cast<std::int64_t>(count));
}

common::Console makeConsole(bool isQuiet) {
  constexpr auto kStream = common::OutputStream::kError;
  return {std::cerr,
          {!isQuiet && common::isTerminal(kStream), [] { return common::terminalWidth(kStream); }}};
}

CLI::Validator range(int least, int most) {
  CLI::Validator validator = CLI::Range(least, most);
  return validator.description("");
}

void addPlace(CLI::App* command, const char* name, std::string& place, const char* help) {
  const auto emptiness = [](const std::string& text) {
    return std::string(text.empty() ? "must not be empty" : "");
  };
  command->add_option(name, place, help)
      ->required()
      ->option_text(" ")
      ->check(CLI::Validator(emptiness, "", "place"));
}

CLI::Option* addText(CLI::App* command, const char* name, const char* type, std::string& text,
                     const char* help) {
  return command->add_option(name, text, help)->type_name(type)->option_text(type);
}

CLI::Option* addTexts(CLI::App* command, const char* name, const char* type,
                      std::vector<std::string>& texts, const char* help) {
  return command->add_option(name, texts, help)
      ->type_name(type)
      ->option_text(type)  // Without dots, as if more than one might follow.
      ->allow_extra_args(false);
}

void addGlobs(CLI::App* command, const char* name, std::vector<std::string>& patterns,
              const char* help) {
  addTexts(command, name, "GLOB", patterns, help)->check(CLI::Validator(globProblem, "", "glob"));
}

std::vector<Glob> parsed(const std::vector<std::string>& patterns) {
  std::vector<Glob> globs;
  std::string problem;
  for (const std::string& pattern : patterns) {
    if (auto glob = Glob::parse(pattern, problem)) globs.push_back(*std::move(glob));
  }
  return globs;
}

void addPasswordFile(CLI::App* command, std::string& file) {
  addText(command, "--password-file", "FILE", file,
          "File with the key's password; - for standard input");
}

}  // namespace mtlpublish
