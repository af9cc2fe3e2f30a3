// Makes a page about a library for a browser: one HTML file, which loads nothing from elsewhere
// but the library's own pictures.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_PAGE_PAGE_H_
#define MTLLIB_TOOLS_MTLPUBLISH_PAGE_PAGE_H_

#include <chrono>
#include <filesystem>
#include <string>

namespace mtlpublish {

/// The page, in UTF-8, for the library in the folder `root`, which is canonical, as it was built
/// last, or for its view of this sub-path, which is in the one way to write it. Links are relative:
/// it belongs beside the stamp. Whatever names files have, they are shown as text. When no page can
/// be made, `problem` says why.
std::string libraryPage(const std::filesystem::path& root, const std::string& subPath,
                        std::chrono::system_clock::time_point now, std::string& problem);

/// What browsers may do for the page, for a field Content-Security-Policy of its answer. The page
/// says most of that itself, as far as a page can.
std::string pagePolicy();

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_PAGE_PAGE_H_
