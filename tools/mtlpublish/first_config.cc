// Writes the first configuration of a library.
#include "mtlpublish/first_config.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <map>
#include <set>
#include <string_view>

#include "rules/ascii.h"
#include "rules/list_entry.h"
#include "signing/release_comment.h"

namespace mtlpublish {

namespace {

/// What maps and previews are kept in, which hardly change under their names.
constexpr std::array<std::string_view, 4> kMapFolders = {"maps", "textures", "previews",
                                                         "thumbnails"};
/// What files are made with, and nobody renders.
constexpr std::array<std::string_view, 7> kSources = {".psd", ".psb",     ".xcf",   ".kra",
                                                      ".ai",  ".afphoto", ".blend1"};

bool isOneOf(std::string_view text, const std::string_view* first, const std::string_view* last) {
  return std::any_of(first, last, [text](std::string_view one) {
    return one.size() == text.size() && mtlrules::equalsIgnoringCase(one, text);
  });
}

struct Findings {
  std::map<std::string, std::size_t> mapFolders;  // With their numbers of files.
  std::map<std::string, std::size_t> sources;     // By the ends of their names, which have a dot.
  std::size_t lossyMaps = 0;
};

Findings lookAt(const TreeScan& scan) {
  Findings findings;
  std::set<std::string_view> paths;
  for (const LibraryFile& file : scan.files)
    paths.insert(file.path);
  for (const LibraryFile& file : scan.files) {
    const std::string_view path = file.path;
    const std::string_view folder = path.substr(0, path.find('/') + 1);
    if (!folder.empty() && isOneOf(folder.substr(0, folder.size() - 1), kMapFolders.data(),
                                   kMapFolders.data() + kMapFolders.size())) {
      ++findings.mapFolders[std::string(folder)];
    }
    const std::size_t dot = path.rfind('.');
    if (dot != path.npos &&
        isOneOf(path.substr(dot), kSources.data(), kSources.data() + kSources.size())) {
      ++findings.sources[std::string(path.substr(dot))];
    }
    const auto map = mtlrules::mapOfVariant(path);
    if (map && paths.count(*map) != 0) ++findings.lossyMaps;
  }
  return findings;
}

std::string countText(std::size_t count) {
  return std::to_string(count) + (count == 1 ? " file" : " files");
}

/// A basic string of TOML. The text is UTF-8 without control characters.
std::string tomlText(std::string_view text) {
  std::string result = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') result += '\\';
    result += c;
  }
  return result + '"';
}

/// The folder as a pattern for all below it.
std::string patternFor(const std::string& folder) {
  std::string pattern;
  for (const char c : folder) {
    if (c == '[' || c == '*' || c == '?') {
      pattern += std::string("[") + c + ']';
    } else {
      pattern += c;
    }
  }
  return pattern + '*';
}

std::string policies(const Findings& findings) {
  constexpr const char* kMeaning =
      "# Which files clients fetch, and when. The first policy that has the file counts.\n"
      "#   always   each time that it has changed; the module: in every update\n"
      "#   missing  the module: only where there is none of the name, so that a file that has\n"
      "#            changed needs a new name\n"
      "#   never    not at all; it does not go to the server either\n";
  std::string text = kMeaning;
  if (findings.mapFolders.empty()) {
    text += "# [[policy]]\n# files = [\"maps/*\"]\n# download = \"missing\"\n";
  }
  for (const auto& [folder, count] : findings.mapFolders) {
    text += "[[policy]]\nfiles = [" + tomlText(patternFor(folder)) + "]  # " + countText(count) +
            "\ndownload = \"missing\"\n";
  }
  return text;
}

std::string caches(const Findings& findings) {
  std::string text =
      "\n# For how long caches between the server and clients may answer with a file by "
      "themselves.\n"
      "# The first rule that has the file counts; of others, caches have to ask each time.\n"
      "#   forever   a file that has changed needs a new name\n"
      "#   90s, 10m, 12h, 30d, 1y: for so long, clients may get a content that is old\n"
      "#   no-cache  not at all\n";
  if (findings.mapFolders.empty()) {
    return text + "# [[cache]]\n# files = [\"maps/*\"]\n# life = \"forever\"\n";
  }
  for (const auto& [folder, count] : findings.mapFolders) {
    text += "[[cache]]\nfiles = [" + tomlText(patternFor(folder)) + "]\nlife = \"forever\"\n";
  }
  return text;
}

std::string excluded(const Findings& findings) {
  std::string text =
      "# What is not published. Names that begin with a dot, *~, *.bak, *.swp, Thumbs.db,\n"
      "# desktop.ini and __MACOSX never are, unless include = [\"…\"] asks for them.\n";
  if (findings.sources.empty()) return text + "# exclude = [\"*.psd\", \"work/*\"]\n";
  text += "exclude = [\n";
  for (const auto& [end, count] : findings.sources)
    text += "  " + tomlText("*" + end) + ",  # " + countText(count) + '\n';
  return text + "]\n";
}

}  // namespace

std::string firstConfig(const TreeScan& scan, const std::string& name) {
  const Findings findings = lookAt(scan);
  std::string text =
      "# How mtlpublish publishes this folder. Options of its command line win; mtlpublish diff\n"
      "# says what a build would change. In patterns, * stands for any characters, ? for one,\n"
      "# [a-z] for one of these. Without '/' they match names of files, with '/' whole paths.\n\n";
  text += "# The library's name, which its signature has.\n";
  text += mtlsigning::isLibraryName(name) ? "name = " + tomlText(name) + "\n\n"
                                          : "# name = \"materials\"\n\n";
  text += "# Whether clients fetch x.jpeg.tx for x.tx where there are both: " +
          std::to_string(findings.lossyMaps) + (findings.lossyMaps == 1 ? " is\n" : " are\n");
  text += findings.lossyMaps > 0 ? "lossy = true\n\n" : "lossy = false\n\n";
  text += excluded(findings);
  text +=
      "\n# What may pass though some client cannot take it: windows-names, same-names,\n"
      "# long-paths, unused-entries, changed-missing.\n# allow = []\n\n"
      "# How many builds before the last one mtlpublish rollback can go back to. Each content\n"
      "# that changes is kept once more for that.\n# keep = 3\n\n"
      "# From how many builds before the last one there are differences of the list, so that\n"
      "# clients of the kit need not fetch all of it.\n# differences = 50\n\n";
  text += policies(findings);
  text += caches(findings);
  text +=
      "\n# The key that signs the library, which mtlpublish keygen makes, and for how many days\n"
      "# clients are to accept a signature.\n"
      "# [signing]\n# key = \"../oak.key\"\n# expires = 30\n\n"
      "# Other lists of the same files, for clients that give a sub-path.\n"
      "# address = \"https://materials.example/library\"  # Above all tables, if there are views.\n"
      "# [[view]]\n# sub-path = \"beta\"\n# files = [\"materials/*\"]\n";
  return text;
}

}  // namespace mtlpublish
