// Makes files inaccessible by their permissions.
#include "support/no_access.h"

#include <map>
#include <optional>

#include "support/unprivileged.h"

namespace {

namespace fs = std::filesystem;

constexpr fs::perms kWrite =
    fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;

}  // namespace

struct NoAccess::State {
  void remember(const fs::path& path) { before.emplace(path, fs::status(path).permissions()); }

  std::map<fs::path, fs::perms> before;
  std::optional<Unprivileged> unprivileged;
};

NoAccess::NoAccess(const std::vector<fs::path>& paths) : state_(std::make_unique<State>()) {
  for (const fs::path& path : paths) {
    state_->remember(path);
    fs::permissions(path, fs::perms::none);
    // Who may write the folder may replace what is in it.
    state_->remember(path.parent_path());
    fs::permissions(path.parent_path(), kWrite, fs::perm_options::remove);
  }
  state_->unprivileged.emplace();
}

NoAccess::~NoAccess() {
  state_->unprivileged.reset();
  for (const auto& [path, permissions] : state_->before)
    fs::permissions(path, permissions);
}

unsigned NoAccess::code() const {
  return 5;
}
