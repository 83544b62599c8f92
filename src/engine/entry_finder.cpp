#include "engine/entry_finder.h"

#include <cerrno>

namespace lumisk {

Result<EntryFinder::Found> EntryFinder::find(const std::vector<std::string>& components) {
  LUMISK_CHECK(goTowards(components));
  const std::string& name = components[place_.size()];
  auto status = files_.status(folder_.get(), name);
  const bool isThere = status || status.error().code != ENOENT;
  if (!isThere) return Found{folder_.get(), name, std::nullopt};
  if (!status) return fail(std::move(status).error());
  if (place_.size() + 1 < components.size()) return fail("look up", name, EAGAIN);  // made since it was looked for
  return Found{folder_.get(), name, *status};
}

// As far as there are folders.
Result<void> EntryFinder::goTowards(const std::vector<std::string>& components) {
  const bool isOnTheWay = folder_.isOpen() && place_.size() < components.size() &&
                          std::equal(place_.begin(), place_.end(), components.begin());
  if (!isOnTheWay) LUMISK_CHECK(goToRoot());
  while (place_.size() + 1 < components.size()) {
    const std::string& name = components[place_.size()];
    auto next = files_.openFolder(folder_.get(), name);
    if (!next && next.error().code == ENOENT) return {};
    if (!next) return fail(std::move(next).error());
    folder_ = std::move(*next);
    names_.reset();
    place_.push_back(name);
  }
  return {};
}

Result<void> EntryFinder::goToRoot() {
  place_.clear();
  names_.reset();
  folder_.reset();
  LUMISK_TRY(folder_, files_.duplicate(root_));
  return {};
}

Result<bool> EntryFinder::lists(const std::string& name) {
  if (!names_) {
    std::vector<FolderEntry> entries;
    LUMISK_CHECK(files_.listFolder(folder_.get(), entries));
    names_.emplace();
    for (FolderEntry& entry : entries) names_->insert(std::move(entry.name));
  }
  return names_->count(name) != 0;
}

}  // namespace lumisk
