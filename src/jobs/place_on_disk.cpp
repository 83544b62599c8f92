#include "jobs/place_on_disk.h"

#include <algorithm>

#include "platform/paths.h"

namespace lumisk {
namespace {

// Appends the folder and all above it.
void climb(FileCalls& files, Descriptor folder, PlaceOnDisk& place) {
  while (true) {
    const auto status = files.statusOf(folder.get());
    if (!status) return;
    if (!place.chain.empty() && place.chain.back() == status->identity) {
      place.chainEnds = true;  // only the root is its own parent
      return;
    }
    place.chain.push_back(status->identity);
    auto parent = files.openParent(folder.get());
    if (!parent) return;
    folder = std::move(*parent);
  }
}

// Whether something stands at the path; then the place's chain begins with it.
bool lookAt(FileCalls& files, const std::string& path, PlaceOnDisk& place) {
  if (auto folder = files.openRoot(path)) {
    place.type = FileType::kFolder;
    climb(files, std::move(*folder), place);
    return !place.chain.empty();
  }
  auto parent = files.openRoot(paths::parent(path));
  if (!parent) return false;
  const auto status = files.status(parent->get(), paths::lastComponent(path));
  if (!status) return false;
  place.type = status->type;
  place.chain.push_back(status->identity);
  climb(files, std::move(*parent), place);
  return true;
}

bool startsWith(const std::vector<std::string>& all, const std::vector<std::string>& start) {
  return all.size() >= start.size() && std::equal(start.begin(), start.end(), all.begin());
}

}  // namespace

PlaceOnDisk findPlace(FileCalls& files, const std::string& path) {
  PlaceOnDisk place;
  place.path = path;
  std::string nearest = paths::normalised(path, "/");
  while (!lookAt(files, nearest, place) && nearest != "/") {
    place.missing.insert(place.missing.begin(), paths::lastComponent(nearest));
    nearest = paths::parent(nearest);
  }
  return place;
}

bool isSamePlace(const PlaceOnDisk& a, const PlaceOnDisk& b) {
  if (a.chain.empty() || b.chain.empty()) return paths::components(a.path) == paths::components(b.path);
  return a.chain.front() == b.chain.front() && a.missing == b.missing;
}

bool isInsideOrSame(const PlaceOnDisk& place, const PlaceOnDisk& folder) {
  if (isSamePlace(place, folder)) return true;
  if (!place.chainEnds && paths::isInside(place.path, folder.path)) return true;
  if (place.chain.empty() || folder.chain.empty()) return false;
  if (!folder.missing.empty())
    return place.chain.front() == folder.chain.front() && startsWith(place.missing, folder.missing);
  return std::find(place.chain.begin(), place.chain.end(), folder.chain.front()) != place.chain.end();
}

}  // namespace lumisk
