// Keeps header fields as a list of names and values, and refuses those that would inject other
// fields.
#include "net/headers.h"

#include <algorithm>
#include <string_view>

#include "header_fields.h"

namespace Krell {
namespace Networking {

namespace {

std::string_view textOf(const char* text, int length) {
  return length < 0 ? std::string_view(text)
                    : std::string_view(text, static_cast<std::size_t>(length));
}

bool isFieldName(std::string_view name) {
  constexpr std::string_view kOthers = "!#$%&'*+-.^_`|~";
  return !name.empty() && std::all_of(name.begin(), name.end(), [&](char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
           kOthers.find(c) != std::string_view::npos;
  });
}

bool isFieldValue(std::string_view value) {
  return std::none_of(value.begin(), value.end(), [](char c) {
    return (static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7F;
  });
}

}  // namespace

Headers::Headers() : fields_(new HeaderFields) {}

Headers::~Headers() {
  delete fields_;
}

krbool Headers::internalSet(const char* name, int nameLength, const char* value, int valueLength,
                            krbool replace, int* index) {
  if (name == nullptr || value == nullptr) return 0;
  const std::string_view nameText = textOf(name, nameLength);
  const std::string_view valueText = textOf(value, valueLength);
  if (!isFieldName(nameText) || !isFieldValue(valueText)) return 0;
  auto& list = fields_->list;
  auto place = list.end();
  if (replace != 0) {
    place = std::find_if(list.begin(), list.end(),
                         [&](const HeaderField& field) { return field.name == nameText; });
  }
  if (place == list.end()) {
    place = list.insert(place, HeaderField{std::string(nameText), {}});
  }
  place->value = valueText;
  if (index != nullptr) *index = static_cast<int>(place - list.begin());
  return 1;
}

}  // namespace Networking
}  // namespace Krell
