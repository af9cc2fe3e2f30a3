// Reads the entries of a list in one of two ways: entry by entry, or by parsing the whole text
// first. Only the second can report what is wrong with a list, because its errors name lines and
// columns, and an error at the very end keeps the entries before it from being looked at.
#include "catalogue/list_entries.h"

#include <json/reader.h>
#include <json/value.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "platform/file_names.h"
#include "plugin/error_chain.h"
#include "qutils/file_system.h"
#include "qutils/whole_text.h"
#include "rules/list_entry.h"
#include "rules/path.h"

namespace {

constexpr std::size_t kLongestJsonMessage = 512;

std::int64_t integerMember(const Json::Value& element, const char* key) {
  const Json::Value& member = element[key];
  return member.isInt64() ? member.asInt64() : 0;
}

// Whether the entry is to be fetched; sets `error` for one that must not be.
bool isSelected(const LibraryCopy& copy, const Json::Value& element, const char* path,
                ErrorChain& error) {
  const Json::Value& member = element["download"];
  const mtlrules::DownloadPolicy policy =
      mtlrules::policyOf(member.isString() ? std::optional(member.asString()) : std::nullopt);
  if (policy == mtlrules::DownloadPolicy::kNever) return false;
  if (!mtlrules::staysBelow(path, Platform::kHasWindowsNames)) {
    setError(error, kParseListTag, -1, "Path leaves the target directory: \"%s\"", path);
    return false;
  }
  return policy == mtlrules::DownloadPolicy::kAlways ||
         !QUtils::pathExists(copy.makeFullPath(path, PathSide::kLocal).text());
}

void addEntry(const LibraryCopy& copy, const Json::Value& element, LibraryCopy::ListFile& list,
              ErrorChain& error) {
  if (!element.isObject()) {
    setError(error, kParseListTag, -1, "Parsing json file list failed (object expceted)");
    return;
  }
  const Json::Value& member = element["path"];
  const char* listed = member.isString() ? member.asCString() : "";
  if (*listed == '\0' || !isSelected(copy, element, listed, error)) return;
  const QUtils::CharString path = QUtils::wholeText(listed);
  list.resizeList(list.count + 1, false);
  LibraryCopy::ListFile::init(list.entries[static_cast<std::size_t>(list.count - 1)], error, path,
                              integerMember(element, "size"), integerMember(element, "jpegSize"));
}

// A text that is taken piece by piece, whatever white space there is between the pieces.
class PiecewiseText {
 public:
  explicit PiecewiseText(std::string_view text) : rest_(text) {}

  bool isAtEnd() {
    skipSpaces();
    return rest_.empty();
  }

  /// False, with nothing taken, when there is something else.
  bool take(char expected) {
    if (!isNext(expected)) return false;
    rest_.remove_prefix(1);
    return true;
  }

  /// False when there is something else, or an object of which it is not certain that the
  /// parser makes the same of it at its place in the whole text.
  ///
  /// The parser gets the text from the object to the very end, as it has it when it comes
  /// there by itself, and reports where the object ended; it looks no further than one token
  /// behind it. What differs is that it has one level less open.
  bool takeObject(Json::Value& object) {
    if (!isNext('{')) return false;
    if (!reader_.parse(rest_.data(), rest_.data() + rest_.size(), object, false)) return false;
    const auto length = static_cast<std::size_t>(object.getOffsetLimit());
    const std::string_view taken = rest_.substr(0, length);
    rest_.remove_prefix(length);
    return opensFewLevels(taken);
  }

 private:
  // So few that the parser is far from the depth at which it throws, which is 1000 as a rule.
  // That brackets in strings count too does no harm.
  static bool opensFewLevels(std::string_view text) {
    constexpr std::ptrdiff_t kMostBrackets = 100;
    return std::count_if(text.begin(), text.end(), [](char c) { return c == '{' || c == '['; }) <=
           kMostBrackets;
  }

  bool isNext(char expected) {
    skipSpaces();
    return !rest_.empty() && rest_.front() == expected;
  }

  // White space is what the parser takes for it.
  void skipSpaces() {
    while (!rest_.empty() && isSpace(rest_.front()))
      rest_.remove_prefix(1);
  }

  static bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

  std::string_view rest_;
  Json::Reader reader_;
};

// Calls `take` with each element of an array of objects, until it returns false. Whether it
// was called with all of them and the text holds nothing else.
template <typename Take>
bool takeEachObject(std::string_view array, Take take) {
  PiecewiseText text(array);
  if (!text.take('[')) return false;
  if (text.take(']')) return text.isAtEnd();
  do {
    Json::Value object;
    if (!text.takeObject(object) || !take(object)) return false;
  } while (text.take(','));
  return text.take(']') && text.isAtEnd();
}

}  // namespace

bool selectOneByOne(const LibraryCopy& copy, std::string_view text, LibraryCopy::ListFile& list) {
  if (list.capacity > 0) return false;
  LibraryCopy::ListFile selected;
  selected.growStep = list.growStep;
  try {
    const bool isComplete = takeEachObject(text, [&](const Json::Value& element) {
      ErrorChain error;
      addEntry(copy, element, selected, error);
      return !error;
    });
    if (isComplete) list = std::move(selected);
    return isComplete;
  } catch (const Json::Exception&) {
    return false;
  }
}

void selectFromWhole(const LibraryCopy& copy, std::string_view text, LibraryCopy::ListFile& list,
                     ErrorChain& error) {
  try {
    Json::Reader reader;
    Json::Value root;
    if (!reader.parse(text.data(), text.data() + text.size(), root, false)) {
      const std::string messages =
          reader.getFormattedErrorMessages().substr(0, kLongestJsonMessage);
      setError(error, kParseListTag, -1, "Parsing json file list failed: %s", messages.c_str());
      return;
    }
    for (const Json::Value& element : root) {
      addEntry(copy, element, list, error);
      if (error) return;
    }
  } catch (const Json::Exception& exception) {
    // Of the parser too, which throws at a text nested too deep.
    setError(error, kParseListTag, -1, "Exception parsing json file list: %s", exception.what());
  }
}

void selectEntries(const LibraryCopy& copy, std::string_view text, LibraryCopy::ListFile& list,
                   ErrorChain& error) {
  if (!selectOneByOne(copy, text, list)) selectFromWhole(copy, text, list, error);
}
