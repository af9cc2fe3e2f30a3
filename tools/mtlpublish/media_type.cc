// The table of the file extensions that browsers care about.
#include "mtlpublish/media_type.h"

#include <array>
#include <cstddef>
#include <utility>

#include "rules/ascii.h"

namespace mtlpublish {

namespace {

constexpr std::array<std::pair<std::string_view, const char*>, 12> kTypes{{
    {".avif", "image/avif"},
    {".css", "text/css"},
    {".gif", "image/gif"},
    {".html", "text/html"},
    {".jpeg", "image/jpeg"},
    {".jpg", "image/jpeg"},
    {".js", "text/javascript"},
    {".json", "application/json"},
    {".png", "image/png"},
    {".svg", "image/svg+xml"},
    {".txt", "text/plain"},
    {".webp", "image/webp"},
}};

}  // namespace

const char* mediaType(std::string_view name) {
  const std::size_t dot = name.find_last_of("./");
  if (dot != name.npos) {
    for (const auto& [ending, type] : kTypes) {
      if (mtlrules::equalsIgnoringCase(name.substr(dot), ending)) return type;
    }
  }
  return "application/octet-stream";
}

bool isPicture(std::string_view name) {
  return std::string_view(mediaType(name)).substr(0, 6) == "image/";
}

}  // namespace mtlpublish
