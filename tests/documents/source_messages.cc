// Reads the sources as the compiler does, as far as it takes to tell calls, their arguments
// and literals: no text can be added that is not found.
#include "source_messages.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace {

struct Token {
  enum Kind { kWord, kText, kSign } kind;
  std::string value;
  bool isSign(char c) const { return kind == kSign && value[0] == c; }
  bool isWord(std::string_view word) const { return kind == kWord && value == word; }
};
using Tokens = std::vector<Token>;

bool isWordByte(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

/// Comments and lines for the preprocessor are left out; adjacent texts are one.
class Lexer {
 public:
  explicit Lexer(std::string_view code) : rest_(code) {}

  Tokens tokens() {
    while (!rest_.empty())
      step();
    return std::move(tokens_);
  }

 private:
  void step() {
    const char c = rest_[0];
    if (rest_.substr(0, 2) == "//") {
      skipPast("\n");
    } else if (rest_.substr(0, 2) == "/*") {
      skipPast("*/");
    } else if (c == '#') {
      skipDirective();
    } else if (c == '"' || c == '\'') {
      takeText(c);
    } else if (isWordByte(c)) {
      std::size_t end = 1;
      while (end < rest_.size() && isWordByte(rest_[end]))
        ++end;
      take(Token::kWord, end);
    } else if (std::isspace(static_cast<unsigned char>(c)) != 0) {
      rest_.remove_prefix(1);
    } else {
      take(Token::kSign, 1);
    }
  }

  void skipPast(std::string_view mark) {
    const std::size_t begin = std::min(rest_.find(mark), rest_.size());
    rest_.remove_prefix(std::min(begin + mark.size(), rest_.size()));
  }

  void skipDirective() {
    while (rest_.find("\\\n") < rest_.find('\n'))
      skipPast("\n");
    skipPast("\n");
  }

  void take(Token::Kind kind, std::size_t length) {
    tokens_.push_back({kind, std::string(rest_.substr(0, length))});
    rest_.remove_prefix(length);
  }

  void takeText(char quote) {
    std::string text;
    std::size_t end = 1;
    for (; end < rest_.size() && rest_[end] != quote; ++end) {
      // A quote or backslash stands for itself; others are shown as they are written.
      if (rest_[end] == '\\' && std::strchr("\"'\\", rest_[end + 1]) != nullptr) ++end;
      text += rest_[end];
    }
    rest_.remove_prefix(std::min(end + 1, rest_.size()));
    if (!tokens_.empty() && tokens_.back().kind == Token::kText) {
      tokens_.back().value += text;
    } else {
      tokens_.push_back({Token::kText, text});
    }
  }

  std::string_view rest_;
  Tokens tokens_;
};

/// A function that takes a text to report, and the places of its arguments.
struct Reporter {
  const char* name;
  const char* way;
  int tag;
  int code;
  int text;
};

constexpr int kNone = -1;

constexpr Reporter kReporters[] = {
    {"setError", "reportError", 1, 2, 3},
    {"pushError", "reportError", 1, 2, 3},
    {"makeError", "reportError", 0, 1, 2},
    {"logTaggedError", "logTaggedError", 0, 1, 2},
    {"logWarning", "logWarning", kNone, kNone, 0},
    {"logStage", "logStage", kNone, kNone, 0},
    {"logInfo", "logInfo", kNone, kNone, 0},
    {"beginBatch", "setProgressText", kNone, kNone, 1},
    {"setProgressText", "setProgressText", kNone, kNone, 0},
    {"ownError", "host kit", kNone, kNone, 0},
    {"ownErrorList", "host kit", kNone, kNone, 0},
    {"refuse", "host kit", kNone, kNone, 0},
};

/// Literals that are no texts to read, though they look like it.
constexpr const char* kNotReported[] = {
    "subject name",  // is looked for in libcurl's own words
    "(%lu) ",        // stands in front of the system's texts below
    " (%lldMB / %lldMB)%n",
    R"(SOFTWARE\Microsoft\Windows\CurrentVersion\Internet Settings)",
};

/// As the system's texts are written.
constexpr const char* kSystemText = "(%lu) %s";

bool readsLikeASentence(const std::string& text) {
  const auto isLetter = [](unsigned char c) { return std::isalpha(c) != 0; };
  return text.find(' ') != std::string::npos && std::any_of(text.begin(), text.end(), isLetter) &&
         std::find(std::begin(kNotReported), std::end(kNotReported), text) ==
             std::end(kNotReported);
}

struct Range {
  std::size_t begin;
  std::size_t end;  // behind the last
};

/// A function that reports on behalf of others, under a tag that it is given.
struct Carrier {
  std::string name;
  std::size_t tag;  // its place among the arguments
  Range body;
};

class FileScan {
 public:
  /// The headers are for their constants.
  FileScan(std::string file, const std::string& code, const Tokens& headers)
      : file_(std::move(file)),
        tokens_(Lexer(code).tokens()),
        headers_(headers),
        isTaken_(tokens_.size()) {}

  std::vector<SourceMessage> messages() {
    for (std::size_t i = 0; i + 1 < tokens_.size(); ++i)
      if (isCall(i)) noteCarrier(i);
    for (std::size_t i = 0; i + 1 < tokens_.size(); ++i)
      if (isCall(i)) noteReport(i);
    takeLooseTexts();
    return std::move(messages_);
  }

 private:
  bool isCall(std::size_t i) const {
    return tokens_[i].kind == Token::kWord && tokens_[i + 1].isSign('(');
  }

  /// Behind the bracket that closes the one at `open`.
  std::size_t closeOf(std::size_t open) const {
    int depth = 0;
    for (std::size_t i = open; i < tokens_.size(); ++i) {
      const Token& token = tokens_[i];
      if (token.isSign('(') || token.isSign('{') || token.isSign('[')) ++depth;
      if (token.isSign(')') || token.isSign('}') || token.isSign(']')) --depth;
      if (depth == 0) return i + 1;
    }
    return tokens_.size();
  }

  /// Of the call whose name is at `i`.
  std::vector<Range> argumentsOf(std::size_t i) const {
    std::vector<Range> arguments;
    const std::size_t end = closeOf(i + 1) - 1;
    for (std::size_t begin = i + 2; begin < end;) {
      std::size_t last = begin;
      while (last < end && !tokens_[last].isSign(',')) {
        const bool opens = tokens_[last].isSign('(') || tokens_[last].isSign('{');
        last = opens ? closeOf(last) : last + 1;
      }
      arguments.push_back({begin, last});
      begin = last + 1;
    }
    return arguments;
  }

  void noteCarrier(std::size_t i) {
    std::size_t body = closeOf(i + 1);
    if (body < tokens_.size() && tokens_[body].isWord("const")) ++body;
    if (body >= tokens_.size() || !tokens_[body].isSign('{')) return;
    const std::vector<Range> parameters = argumentsOf(i);
    for (std::size_t k = 0; k < parameters.size(); ++k) {
      if (!tokens_[parameters[k].end - 1].isWord("tag")) continue;
      carriers_.push_back({tokens_[i].value, k, {body, closeOf(body)}});
    }
  }

  void noteReport(std::size_t i) {
    if (tokens_[i].isWord("static_assert")) {
      std::fill(isTaken_.begin() + asOffset(i), isTaken_.begin() + asOffset(closeOf(i + 1)), true);
    }
    const auto* reporter =
        std::find_if(std::begin(kReporters), std::end(kReporters),
                     [&](const Reporter& each) { return tokens_[i].isWord(each.name); });
    if (reporter == std::end(kReporters)) return;
    const std::vector<Range> arguments = argumentsOf(i);
    if (static_cast<std::size_t>(reporter->text) >= arguments.size()) return;
    const auto argument = [&](int index) { return arguments[static_cast<std::size_t>(index)]; };
    SourceMessage message{reporter->way, textOf(argument(reporter->text)), {}, {}, {file_}};
    if (message.text.empty()) return;
    if (message.text == "%s" && mentions(closeOf(i + 1), i, "systemErrorText")) {
      message.text = kSystemText;
    }
    if (reporter->code != kNone) message.codes = {codeOf(argument(reporter->code))};
    if (reporter->tag != kNone) message.tags = tagsOf(argument(reporter->tag).begin);
    messages_.push_back(std::move(message));
  }

  static std::ptrdiff_t asOffset(std::size_t index) { return static_cast<std::ptrdiff_t>(index); }

  bool mentions(std::size_t end, std::size_t begin, std::string_view word) const {
    return std::any_of(tokens_.begin() + asOffset(begin), tokens_.begin() + asOffset(end),
                       [&](const Token& token) { return token.isWord(word); });
  }

  /// Its literals, with %s for what is inserted between them; empty without any.
  std::string textOf(Range argument) {
    std::string text;
    bool hasText = false;
    bool isInserted = false;
    for (std::size_t i = argument.begin; i < argument.end; ++i) {
      if (tokens_[i].kind == Token::kText) {
        text += tokens_[i].value;
        isTaken_[i] = true;
        hasText = true;
        isInserted = false;
      } else if (tokens_[i].isSign('+') || tokens_[i].isWord("std") || isInserted) {
        isInserted = isInserted && !tokens_[i].isSign('+');
      } else if (tokens_[i].kind == Token::kWord && !isMaker(i)) {
        text += "%s";
        isInserted = true;
      }
    }
    return hasText ? text : std::string();
  }

  /// `string` of std::string("...").
  bool isMaker(std::size_t i) const { return tokens_[i].isWord("string"); }

  std::string codeOf(Range argument) const {
    std::string code;
    for (std::size_t i = argument.begin; i < argument.end; ++i)
      code += tokens_[i].value;
    return code == "-1" || code == "-2" ? code : "the system's";
  }

  /// A literal's or constant's text, or all those that the carrier around it is given.
  std::vector<std::string> tagsOf(std::size_t i) const {
    if (tokens_[i].kind == Token::kText) return {tokens_[i].value};
    if (!tokens_[i].isWord("tag")) return {constant(i)};
    std::vector<std::string> tags;
    for (const Carrier& carrier : carriers_) {
      if (i < carrier.body.begin || i >= carrier.body.end) continue;
      for (std::size_t k = 0; k + 1 < tokens_.size(); ++k) {
        if (!tokens_[k].isWord(carrier.name) || !isCall(k)) continue;
        const Range given = argumentsOf(k)[carrier.tag];
        if (given.end - given.begin != 1) continue;
        const std::vector<std::string> more = tagsOf(given.begin);
        tags.insert(tags.end(), more.begin(), more.end());
      }
    }
    return tags;
  }

  /// The text of the constant that the word at `i` names: the last one above it, else that
  /// of a header.
  std::string constant(std::size_t i) const {
    const std::string& name = tokens_[i].value;
    for (std::size_t k = i; k-- > 0;)
      if (isConstant(tokens_, k, name)) return tokens_[k + 2].value;
    for (std::size_t k = 0; k + 2 < headers_.size(); ++k)
      if (isConstant(headers_, k, name)) return headers_[k + 2].value;
    return name;
  }

  static bool isConstant(const Tokens& tokens, std::size_t k, const std::string& name) {
    return tokens[k].isWord(name) && tokens[k + 1].isSign('=') &&
           tokens[k + 2].kind == Token::kText;
  }

  /// Where a report is nothing but an inserted text, the loose ones of its file are what is
  /// inserted.
  void takeLooseTexts() {
    SourceMessage model{kOtherWay, "", {}, {}, {file_}};
    std::vector<std::string> loose;
    for (std::size_t i = 0; i < tokens_.size(); ++i) {
      const bool isLoose = tokens_[i].kind == Token::kText && !isTaken_[i];
      if (isLoose && readsLikeASentence(tokens_[i].value)) loose.push_back(tokens_[i].value);
    }
    if (loose.empty()) return;
    const auto inserting =
        std::find_if(messages_.begin(), messages_.end(),
                     [](const SourceMessage& message) { return message.text == "%s"; });
    if (inserting != messages_.end()) {
      model = *inserting;
      messages_.erase(inserting);
    }
    for (const std::string& text : loose) {
      model.text = text;
      messages_.push_back(model);
    }
  }

  std::string file_;
  Tokens tokens_;
  const Tokens& headers_;
  std::vector<bool> isTaken_;
  std::vector<Carrier> carriers_;
  std::vector<SourceMessage> messages_;
};

void addMissing(std::vector<std::string>& to, const std::vector<std::string>& from) {
  for (const std::string& text : from)
    if (std::find(to.begin(), to.end(), text) == to.end()) to.push_back(text);
}

void merge(std::vector<SourceMessage>& all, const std::vector<SourceMessage>& more) {
  for (const SourceMessage& message : more) {
    const auto same = std::find_if(all.begin(), all.end(), [&](const SourceMessage& each) {
      return each.way == message.way && each.text == message.text;
    });
    if (same == all.end()) {
      all.push_back(message);
      addMissing(all.back().tags = {}, message.tags);
    } else {
      addMissing(same->tags, message.tags);
      addMissing(same->codes, message.codes);
      addMissing(same->files, message.files);
    }
  }
}

}  // namespace

std::vector<SourceMessage> findMessages(const std::vector<SourceFile>& sources) {
  const auto endsWith = [](const std::string& name, std::string_view end) {
    return name.size() > end.size() && name.compare(name.size() - end.size(), end.size(), end) == 0;
  };
  Tokens headers;
  for (const auto& [name, code] : sources) {
    if (!endsWith(name, ".h")) continue;
    const Tokens more = Lexer(code).tokens();
    headers.insert(headers.end(), more.begin(), more.end());
  }
  std::vector<SourceMessage> messages;
  for (const auto& [name, code] : sources) {
    if (endsWith(name, ".cc")) merge(messages, FileScan(name, code, headers).messages());
  }
  return messages;
}

std::vector<SourceMessage> connectionErrorReasons(const std::string& header) {
  std::vector<SourceMessage> reasons;
  const Tokens tokens = Lexer(header).tokens();
  for (std::size_t i = 0; i + 2 < tokens.size(); ++i) {
    const bool isValue = tokens[i].kind == Token::kWord && tokens[i + 1].isSign('=') &&
                         tokens[i].value.rfind("CONNECTION_ERROR_", 0) == 0;
    // Flags are written with a prefix.
    if (!isValue || tokens[i + 2].value[0] == '0') continue;
    reasons.push_back({"reason", "reason=" + tokens[i + 2].value, {tokens[i].value}, {}, {}});
  }
  return reasons;
}
