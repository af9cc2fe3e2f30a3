// The text is cut into entries here, and JsonCpp, which does not take texts in pieces, parses
// them one at a time: so both read the same lists, since the module has that parser too.
#include "update/list_reader.h"

#include <json/reader.h>
#include <json/value.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/file_names.h"
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

std::optional<std::string> textOf(const Json::Value& member) {
  return member.isString() ? std::optional(member.asString()) : std::nullopt;
}

std::optional<std::uint64_t> sizeOf(const Json::Value* member) {
  if (member == nullptr || !member->isInt64() || member->asInt64() < 0) return std::nullopt;
  return static_cast<std::uint64_t>(member->asInt64());
}

/// One entry, read from its object.
class EntryReading {
 public:
  // Going through the members once costs less than looking for each of them.
  EntryReading(const Json::Value& object, std::size_t number) : number_(number) {
    for (auto member = object.begin(); member != object.end(); ++member) {
      const char* end = nullptr;
      const char* const begin = member.memberName(&end);
      const std::string_view name(begin, static_cast<std::size_t>(end - begin));
      if (name == "path") {
        // Up to a zero byte.
        if (member->isString()) path_ = member->asCString();
      } else if (name == "download") {
        download_ = &*member;
      } else if (name == "size") {
        size_ = &*member;
      } else if (name == "jpegSize") {
        lossySize_ = &*member;
      } else if (name == "sha256") {
        sha256_ = &*member;
      }
    }
    if (download_ != nullptr) policy_ = mtlrules::policyOf(textOf(*download_));
    if (sha256_ != nullptr) digest_ = digestFrom(textOf(*sha256_).value_or(""));
  }

  /// What is not as a publisher would have written it, but does not matter to clients.
  std::vector<ListProblem> oddities(std::string_view subPath) const {
    std::vector<ListProblem> odd;
    const auto add = [&](const char* reason) { odd.push_back({number_, path_, reason, false}); };
    if (path_.empty()) add("has no \"path\"");
    if (download_ != nullptr && !mtlrules::policyNamed(textOf(*download_).value_or(""))) {
      add("its \"download\" is not always, missing or never");
    }
    if (sha256_ != nullptr && !digest_) {
      add("its \"sha256\" is not 64 lower-case hexadecimal digits");
    }
    if (isFetched() && mtlrules::isOwnName(path_, subPath)) {
      add("has a name that clients keep for their own files");
    }
    return odd;
  }

  /// Adds the entry to the listing if it is one to fetch; "" or why clients refuse it.
  std::string addTo(Listing& listing) const {
    if (!isFetched()) return "";
    if (!mtlrules::staysBelow(path_, Platform::kHasWindowsNames)) {
      return "a path leaves the target directory";
    }
    const std::string path = mtlrules::plainPath(path_);
    const std::optional<std::uint64_t> lossySize = sizeOf(lossySize_);
    if (lossySize.value_or(0) == 0) {
      listing.add({path, path, sizeOf(size_), digest_, policy_});
      return "";
    }
    const std::optional<std::string> variant = mtlrules::lossyVariantOf(path_);
    if (!variant) return "a lossy map does not end in \".tx\"";
    listing.add({path, mtlrules::plainPath(*variant), lossySize, digest_, policy_});
    return "";
  }

  const std::string& path() const { return path_; }

 private:
  bool isFetched() const { return !path_.empty() && policy_ != mtlrules::DownloadPolicy::kNever; }

  std::size_t number_;
  std::string path_{};
  // Null where there is no such member.
  const Json::Value* download_ = nullptr;
  const Json::Value* size_ = nullptr;
  const Json::Value* lossySize_ = nullptr;
  const Json::Value* sha256_ = nullptr;
  mtlrules::DownloadPolicy policy_ = mtlrules::policyOf(std::nullopt);
  std::optional<Digest> digest_{};
};

/// "" or why the text is not one value.
std::string parse(const std::string& text, Json::Reader& reader, Json::Value& value) {
  try {
    if (!reader.parse(text.data(), text.data() + text.size(), value, false)) {
      return mtlrules::printableLine(reader.getFormattedErrorMessages().substr(0, 512));
    }
  } catch (const Json::Exception& exception) {
    return exception.what();  // It is nested too deep.
  }
  const auto end = static_cast<std::size_t>(value.getOffsetLimit());
  return std::all_of(text.begin() + static_cast<std::ptrdiff_t>(end), text.end(), isSpace)
             ? ""
             : "a comma is missing";
}

}  // namespace

struct ListReader::Parser {
  Json::Reader reader;
  Json::Value value;
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
                                               : "the list ends in the middle");
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

// Comments are white space, of which one blank is kept, so that it goes on separating.
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
  const Json::Value& value = parser_->value;
  const std::string problem = parse(entry_, parser_->reader, parser_->value);
  entry_.clear();
  if (!problem.empty()) {
    return refused("entry " + std::to_string(number_) +
                   " of the list is not valid JSON: " + problem);
  }
  if (!value.isObject()) return report({number_, "", "an entry is not an object", true});
  const EntryReading entry(value, number_);
  if (onProblem_) {
    for (const ListProblem& odd : entry.oddities(subPath_))
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
