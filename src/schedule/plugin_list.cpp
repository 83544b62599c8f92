#include "schedule/plugin_list.h"

#include <algorithm>
#include <functional>
#include <mutex>

#include "platform/property_list.h"

namespace lumisk {
namespace {

constexpr const char* kRunningSourcesKey = "RunningJobSourcePath";
constexpr const char* kJobListKey = "JobList";
constexpr const char* kActionTypeKey = "ActionType";
constexpr const char* kCopyPathsKey = "CopyPathArray";  // [from, to, from, to, ...]
constexpr int kRestoreAction = 1;

// Reads, changes and writes under one mutex for the whole process: each job has a PluginList of its own.
void changeList(const std::string& path, const std::function<void(PropertyList::Dictionary&)>& change) {
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  auto list = readPropertyListFile(path);
  if (!list || list->kind() != PropertyList::Kind::kDictionary) return;
  const PropertyList before = *list;
  change(list->mutableDictionary());
  if (*list != before) (void)writePropertyListFile(path, *list);
}

bool isPartOf(const std::string& part, const std::string& whole) {
  return whole.find(part) != std::string::npos;
}

}  // namespace

void PluginList::writeRunningJobOriginalPathsToPlist(const std::vector<std::string>& sources) const {
  changeList(path_, [&](PropertyList::Dictionary& list) {
    auto& running = list[kRunningSourcesKey].mutableArray();
    running.insert(running.end(), sources.begin(), sources.end());
  });
}

void PluginList::deleteRunningJobOriginalPathInPlist(const std::vector<std::string>& sources) const {
  changeList(path_, [&](PropertyList::Dictionary& list) {
    const auto running = list.find(kRunningSourcesKey);
    if (running == list.end() || running->second.kind() != PropertyList::Kind::kArray) return;
    std::erase_if(running->second.mutableArray(), [&](const PropertyList& entry) {
      return std::find(sources.begin(), sources.end(), entry.text()) != sources.end();
    });
  });
}

std::vector<std::string> PluginList::restoredPlaces() const {
  std::vector<std::string> places;
  const auto list = readPropertyListFile(path_);
  if (!list) return places;
  for (const PropertyList& action : (*list)[kJobListKey].array()) {
    if (action[kActionTypeKey].integer() != kRestoreAction) continue;
    const PropertyList::Array& paths = action[kCopyPathsKey].array();
    for (std::size_t i = 1; i < paths.size(); i += 2) places.push_back(paths[i].text());
  }
  return places;
}

bool isNowRestoreingByPlugin(const std::vector<std::string>& restoredPlaces, const std::vector<std::string>& sources) {
  for (const std::string& place : restoredPlaces) {
    if (place.empty()) continue;  // a part of every path
    for (const std::string& source : sources) {
      if (isPartOf(place, source) || isPartOf(source, place)) return true;
    }
  }
  return false;
}

}  // namespace lumisk
