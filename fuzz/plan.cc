// Fuzz target: from the text of a list to a plan: whatever a server sends, every file that is
// fetched, copied or removed has a place of its own below the folder, and that place is not one of
// the client's own.
#include "update/plan.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "host.h"
#include "platform/file_names.h"
#include "rules/own_names.h"
#include "rules/path.h"
#include "update/list_reader.h"

namespace {

/// Has files of the names that begin with a, folders of those that end with b, and no others.
class SomeDisk final : public mtlupdate::Disk {
 public:
  std::error_code look(std::string_view path, mtlupdate::Look& found) override {
    found = {};
    if (path.back() == 'b') found.kind = mtlupdate::FileKind::kFolder;
    if (path.front() == 'a') found = {mtlupdate::FileKind::kFile, {path.size(), 1, 1}, ""};
    return {};
  }
  std::error_code names(std::string_view path, std::vector<std::string>& names) override {
    names = {path.size() % 2 == 0 ? "ab" : "a"};
    return path.size() < 20 ? std::error_code() : std::make_error_code(std::errc::io_error);
  }
  std::error_code digest(std::string_view /*path*/,
                         const mtlupdate::ShouldContinue& /*shouldContinue*/,
                         mtlupdate::Digest& digest) override {
    digest = {};
    return {};
  }
  std::optional<std::uint64_t> freeRoom() override { return std::nullopt; }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(bytes), size);
  mtlupdate::Listing listing;
  mtlupdate::ListReader reader(listing);
  // In two pieces, so that every state of the reader meets the end of one.
  const std::size_t half = size / 2;
  if (reader.feed(text.substr(0, half)) || reader.feed(text.substr(half)) || reader.finish()) {
    return 0;
  }
  SomeDisk disk;
  mtlupdate::Plan plan;
  mtlupdate::PlanOptions options;
  options.subPath = "sub";
  if (mtlupdate::makePlan(listing, {}, options, {}, disk, plan)) return 0;
  std::set<std::string_view> places;
  for (const mtlupdate::Plan::Place& place : plan.place) {
    const std::string_view path = place.entry->path;
    require(mtlrules::staysBelow(path, Platform::kHasWindowsNames));
    require(mtlrules::plainPath(path) == path);
    require(!mtlrules::isOwnName(path, options.subPath));
    require(places.insert(path).second);
  }
  for (const std::string_view path : places) {
    const auto next = places.lower_bound(std::string(path) + '/');
    require(next == places.end() ||
            next->compare(0, path.size() + 1, std::string(path) + '/') != 0);
  }
  require(plan.fetch.size() <= plan.place.size());
  return 0;
}
