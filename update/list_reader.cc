// Cuts the text of a list into entries. RapidJSON, which keeps no document in memory, reads the
// entries that every parser reads alike, which includes those of publishers; JsonCpp, which the
// module uses, reads all others. So engine and module read the same lists, however unusual they
// are.
#include "update/list_reader.h"

#include <json/reader.h>
#include <json/value.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/file_names.h"
#include "rules/address.h"
#include "rules/list_entry.h"
#include "rules/own_names.h"
#include "rules/path.h"
#include "rules/printable.h"

namespace mtlupdate {

namespace {

bool isSpace(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

Outcome refused(std::string text) {
  return Failure{Failure::Kind::kContent, std::move(text)};
}

/// What an entry says of its file. Of members with the same name the last one counts.
class EntryReading {
 public:
  enum class Member { kPath, kPolicy, kSize, kLossySize, kDigest, kMirror, kOther };

  static Member memberOf(std::string_view name) {
    if (name == "path") return Member::kPath;
    if (name == "download") return Member::kPolicy;
    if (name == "size") return Member::kSize;
    if (name == "jpegSize") return Member::kLossySize;
    if (name == "sha256") return Member::kDigest;
    return name == "mirror" ? Member::kMirror : Member::kOther;
  }

  /// `text` is none for anything else; `number` as well, and for those that are not sizes.
  void take(Member member, std::optional<std::string_view> text,
            std::optional<std::int64_t> number) {
    const std::string_view word = text.value_or("");
    const bool isSize = number.value_or(-1) >= 0;
    const auto size = isSize ? std::optional(static_cast<std::uint64_t>(*number)) : std::nullopt;
    if (member == Member::kPath) {
      path_ = word.substr(0, word.find('\0'));
    } else if (member == Member::kPolicy) {
      policy_ = mtlrules::policyOf(text);
      hasOddPolicy_ = !mtlrules::policyNamed(word);
    } else if (member == Member::kSize) {
      size_ = size;
    } else if (member == Member::kLossySize) {
      lossySize_ = size;
    } else if (member == Member::kDigest) {
      digest_ = digestFrom(word);
      hasOddDigest_ = !digest_;
    } else if (member == Member::kMirror) {
      mirror_ = word;
    }
  }

  /// For the next entry.
  void clear() {
    path_.clear();
    size_.reset();
    lossySize_.reset();
    digest_.reset();
    mirror_.clear();
    policy_ = mtlrules::policyOf(std::nullopt);
    hasOddPolicy_ = false;
    hasOddDigest_ = false;
  }

  /// What is not as a publisher would have written it, but does not matter to clients.
  std::vector<ListProblem> oddities(std::size_t number, std::string_view subPath) const {
    std::vector<ListProblem> odd;
    const auto add = [&](const char* reason) { odd.push_back({number, path_, reason, false}); };
    if (isMirror()) {
      if (!mtlrules::isMirrorAddress(mirror_)) add("its \"mirror\" is not an address to publish");
      return odd;
    }
    if (path_.empty()) add("has no \"path\"");
    if (hasOddPolicy_) add("its \"download\" is not always, missing or never");
    if (hasOddDigest_) add("its \"sha256\" is not 64 lower-case hexadecimal digits");
    if (isFetched() && mtlrules::isOwnName(path_, subPath)) {
      add("has a name that clients keep for their own files");
    }
    return odd;
  }

  /// Adds the entry to the listing if it is one to fetch; "" or why clients refuse it.
  std::string addTo(Listing& listing) const {
    if (isMirror() && mtlrules::isMirrorAddress(mirror_)) listing.addMirror(mirror_);
    if (!isFetched()) return "";
    if (!mtlrules::staysBelow(path_, Platform::kHasWindowsNames)) {
      return "a path leaves the target directory";
    }
    std::string plain;
    std::string_view path = path_;
    if (!mtlrules::isPlain(path_)) path = plain = mtlrules::plainPath(path_);
    if (lossySize_.value_or(0) == 0) {
      listing.add({path, path, size_, digest_, policy_});
      return "";
    }
    const std::optional<std::string> variant = mtlrules::lossyVariantOf(path_);
    if (!variant) return "a lossy map does not end in \".tx\"";
    listing.add({path, mtlrules::plainPath(*variant), lossySize_, digest_, policy_});
    return "";
  }

  const std::string& path() const { return path_; }

 private:
  bool isMirror() const { return path_.empty() && !mirror_.empty(); }
  bool isFetched() const { return !path_.empty() && policy_ != mtlrules::DownloadPolicy::kNever; }

  std::string path_{};
  std::optional<std::uint64_t> size_{};
  std::optional<std::uint64_t> lossySize_{};
  std::optional<Digest> digest_{};
  std::string mirror_{};
  mtlrules::DownloadPolicy policy_ = mtlrules::policyOf(std::nullopt);
  bool hasOddPolicy_ = false;
  bool hasOddDigest_ = false;
};

/// Takes what RapidJSON reads of one object without objects, arrays and fractions in it, and gives
/// up on anything else.
class PlainObject : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, PlainObject> {
 public:
  explicit PlainObject(EntryReading& entry) : entry_(entry) {}

  bool StartObject() { return !std::exchange(isInObject_, true); }
  bool EndObject(rapidjson::SizeType /*members*/) { return true; }
  bool StartArray() { return false; }
  bool Double(double /*value*/) { return false; }
  bool Key(const char* text, rapidjson::SizeType size, bool /*copy*/) {
    member_ = EntryReading::memberOf({text, size});
    return true;
  }
  bool String(const char* text, rapidjson::SizeType size, bool /*copy*/) {
    return take(std::string_view(text, size), std::nullopt);
  }
  bool Int64(std::int64_t value) { return take(std::nullopt, value); }
  bool Uint64(std::uint64_t value) {
    constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
    return value <= kMost ? Int64(static_cast<std::int64_t>(value)) : Default();
  }
  bool Int(int value) { return Int64(value); }
  bool Uint(unsigned value) { return Int64(value); }
  bool Default() { return take(std::nullopt, std::nullopt); }

 private:
  bool take(std::optional<std::string_view> text, std::optional<std::int64_t> number) {
    if (isInObject_) entry_.take(member_, text, number);
    return isInObject_;
  }

  EntryReading& entry_;
  bool isInObject_ = false;
  EntryReading::Member member_ = EntryReading::Member::kOther;
};

}  // namespace

struct ListReader::Parser {
  /// Reads the entry if it is plain. If not, the members of it that were read must not count.
  bool readPlain(const std::string& text) {
    // Parsers differ in what they make of some escapes.
    if (text.find('\\') != text.npos) return false;
    entry.clear();
    // Strings are read where they are, which changes what is behind them.
    scratch = text;
    rapidjson::InsituStringStream stream(scratch.data());
    PlainObject object(entry);
    return !plain.Parse<rapidjson::kParseInsituFlag>(stream, object).IsError() &&
           stream.Tell() == text.size();
  }

  /// "" or why the text is not one value. `isObject` is false for a value that is not an entry.
  std::string readAny(const std::string& text, bool& isObject) {
    try {
      if (!any.parse(text.data(), text.data() + text.size(), value, false)) {
        return mtlrules::printableLine(any.getFormattedErrorMessages().substr(0, 512));
      }
    } catch (const Json::Exception& exception) {
      return exception.what();  // It is nested too deep.
    }
    const auto end = static_cast<std::ptrdiff_t>(value.getOffsetLimit());
    if (!std::all_of(text.begin() + end, text.end(), isSpace)) return "a comma is missing";
    isObject = value.isObject();
    if (isObject) takeMembers();
    return "";
  }

  rapidjson::Reader plain;
  std::string scratch;
  Json::Reader any;
  Json::Value value;
  EntryReading entry;

 private:
  void takeMembers() {
    entry.clear();
    // Going through the members once costs less than looking for each of them.
    for (auto member = value.begin(); member != value.end(); ++member) {
      const char* end = nullptr;
      const char* const name = member.memberName(&end);
      const std::string text = member->isString() ? member->asString() : "";
      entry.take(EntryReading::memberOf({name, static_cast<std::size_t>(end - name)}),
                 member->isString() ? std::optional<std::string_view>(text) : std::nullopt,
                 member->isInt64() ? std::optional<std::int64_t>(member->asInt64()) : std::nullopt);
    }
  }
};

ListReader::ListReader(Listing& listing, std::function<void(const ListProblem&)> onProblem,
                       std::string subPath)
    : listing_(listing),
      onProblem_(std::move(onProblem)),
      subPath_(std::move(subPath)),
      parser_(std::make_unique<Parser>()) {}

ListReader::~ListReader() = default;

Outcome ListReader::feed(std::string_view bytes) {
  if (bytes.empty()) return {};
  if (Outcome failure = take(heldBack_)) return failure;
  heldBack_ = bytes.back();
  bytes.remove_suffix(1);
  return take(bytes);
}

Outcome ListReader::finish() {
  if (heldBack_.empty()) return refused("the list is empty");
  // A comment of one line may be the last.
  const bool isWhole =
      place_ == Place::kBehindArray && (mode_ == Mode::kPlain || mode_ == Mode::kLine);
  if (isWhole) return {};
  return refused(place_ == Place::kBeforeArray ? "the list is not a JSON array"
                                               : "the list is incomplete");
}

Outcome ListReader::take(std::string_view bytes) {
  while (!bytes.empty()) {
    if (mode_ == Mode::kPlain || mode_ == Mode::kSlash) {
      if (Outcome failure = takePlain(bytes.front())) return failure;
      bytes.remove_prefix(1);
    } else if (mode_ == Mode::kText || mode_ == Mode::kEscape) {
      if (Outcome failure = takeText(bytes)) return failure;
    } else {
      skipComment(bytes);
    }
  }
  return {};
}

Outcome ListReader::takeText(std::string_view& bytes) {
  std::size_t length = 1;
  if (mode_ == Mode::kEscape) {
    mode_ = Mode::kText;
  } else {
    // Unlike find_first_of(), without a call for each character.
    const auto* const end =
        std::find_if(bytes.begin(), bytes.end(), [](char c) { return c == '"' || c == '\\'; });
    length = static_cast<std::size_t>(end - bytes.begin());
    if (end != bytes.end()) {
      mode_ = *end == '"' ? Mode::kPlain : Mode::kEscape;
      ++length;
    }
  }
  Outcome failure = append(bytes.substr(0, length));
  bytes.remove_prefix(length);
  return failure;
}

void ListReader::skipComment(std::string_view& bytes) {
  if (mode_ == Mode::kStar && bytes.front() == '/') {
    mode_ = Mode::kPlain;
    bytes.remove_prefix(1);
    return;
  }
  const bool isLine = mode_ == Mode::kLine;
  if (mode_ == Mode::kStar) mode_ = Mode::kBlock;
  const std::size_t end = isLine ? bytes.find_first_of("\r\n") : bytes.find('*');
  if (end != bytes.npos) mode_ = isLine ? Mode::kPlain : Mode::kStar;
  bytes.remove_prefix(end == bytes.npos ? bytes.size() : end + 1);
}

// Comments are white space, of which one blank is kept, so that it still separates.
Outcome ListReader::takePlain(char c) {
  if (mode_ == Mode::kSlash) {
    mode_ = Mode::kPlain;
    if (c == '/' || c == '*') {
      mode_ = c == '/' ? Mode::kLine : Mode::kBlock;
      return {};
    }
    if (Outcome failure = takeToken('/')) return failure;
  }
  if (c == '/') {
    mode_ = Mode::kSlash;
    c = ' ';
  }
  if (!isSpace(c)) return takeToken(c);
  const bool separates = place_ == Place::kInEntry && !entry_.empty() && entry_.back() != ' ';
  return separates ? append(" ") : Outcome{};
}

Outcome ListReader::takeToken(char c) {
  if (place_ == Place::kBeforeArray) {
    if (c != '[') return refused("the list is not a JSON array");
    place_ = Place::kBeforeFirst;
    return {};
  }
  if (place_ == Place::kBehindArray) return refused("something follows the array of the list");
  const bool endsEntry = depth_ == 0 && (c == ',' || c == ']');
  if (endsEntry) {
    const bool isNone = place_ == Place::kBeforeFirst && c == ']';
    if (c == ']') place_ = Place::kBehindArray;
    if (c == ',') place_ = Place::kInEntry;
    return isNone ? Outcome{} : endEntry();
  }
  place_ = Place::kInEntry;
  if (c == '{' || c == '[') ++depth_;
  if ((c == '}' || c == ']') && depth_ > 0) --depth_;
  if (c == '"') mode_ = Mode::kText;
  return append({&c, 1});
}

Outcome ListReader::append(std::string_view bytes) {
  if (entry_.size() + bytes.size() > kLongestEntry) {
    return refused("entry " + std::to_string(number_ + 1) + " of the list is longer than " +
                   std::to_string(kLongestEntry) + " bytes");
  }
  entry_ += bytes;
  return {};
}

Outcome ListReader::endEntry() {
  ++number_;
  bool isObject = true;
  std::string problem;
  if (!parser_->readPlain(entry_)) problem = parser_->readAny(entry_, isObject);
  entry_.clear();
  if (!problem.empty()) {
    return refused("entry " + std::to_string(number_) +
                   " of the list is not valid JSON: " + problem);
  }
  if (!isObject) return report({number_, "", "an entry is not an object", true});
  const EntryReading& entry = parser_->entry;
  if (onProblem_) {
    for (const ListProblem& odd : entry.oddities(number_, subPath_))
      onProblem_(odd);
  }
  const std::string refusal = entry.addTo(listing_);
  return refusal.empty() ? Outcome{} : report({number_, entry.path(), refusal, true});
}

Outcome ListReader::report(const ListProblem& problem) const {
  if (onProblem_) {
    onProblem_(problem);
    return {};
  }
  std::string text = problem.reason;
  if (!problem.path.empty()) text += ": \"" + problem.path + "\"";
  return refused(text);
}

}  // namespace mtlupdate
