#include "schedule/plugin_list.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <mutex>

#include "platform/clock.h"
#include "platform/file_calls.h"
#include "platform/paths.h"
#include "platform/process.h"
#include "platform/property_list.h"

namespace lumisk {
namespace {

constexpr const char* kRunningSourcesKey = "RunningJobSourcePath";
constexpr const char* kJobListKey = "JobList";
constexpr const char* kActionTypeKey = "ActionType";
constexpr const char* kCopyPathsKey = "CopyPathArray";  // [from, to, from, to, ...]
constexpr const char* kProcessKey = "LumiskProcess";    // of an entry of ours: the process that restores
constexpr const char* kRestoreKey = "LumiskRestore";    // and which of its restores
constexpr int kRestoreAction = 1;

constexpr auto kBetweenTries = std::chrono::milliseconds(20);
constexpr int kTries = 100;

// Other programs of ours change the list, too. Where the lock cannot be had the change is made all the same.
Descriptor lockOf(const std::string& path) {
  FileCalls& files = realFileCalls();
  const auto folder = files.openRoot(paths::parent(path));
  if (!folder) return {};
  const std::string name = paths::lastComponent(path) + ".lock";
  auto lock = files.openFileForWriting(folder->get(), name);
  if (!lock) lock = files.createFile(folder->get(), name, 0600);
  if (!lock) return {};
  for (int tries = kTries; tries > 0 && !files.lockExclusively(lock->get()); --tries)
    systemClock().sleep(kBetweenTries);
  return std::move(*lock);
}

enum class WhenMissing { kLeaveAlone, kMake };

// Reads, changes and writes under one mutex for the whole process: each job has a PluginList of its own.
bool changeList(const std::string& path, WhenMissing whenMissing,
                const std::function<void(PropertyList::Dictionary&)>& change) {
  static std::mutex mutex;
  const std::lock_guard guard(mutex);
  auto list = readPropertyListFile(path);
  const bool isMissing = !list && list.error().code == ENOENT;
  if (!list && (!isMissing || whenMissing == WhenMissing::kLeaveAlone)) return false;
  const Descriptor lock = lockOf(path);
  list = readPropertyListFile(path);
  if (isMissing && !list && list.error().code == ENOENT) list = PropertyList(PropertyList::Dictionary());
  if (!list || list->kind() != PropertyList::Kind::kDictionary) return false;
  const PropertyList before = *list;
  change(list->mutableDictionary());
  return *list == before || writePropertyListFile(path, *list);
}

// An entry of ours whose process has ended without taking it out.
bool isLeftBehind(const PropertyList& action) {
  const std::string owner = action[kProcessKey].text();
  return !owner.empty() && !process::isAlive(owner);
}

bool isPartOf(const std::string& part, const std::string& whole) {
  return whole.find(part) != std::string::npos;
}

}  // namespace

void PluginList::writeRunningJobOriginalPathsToPlist(const std::vector<std::string>& sources) const {
  changeList(path_, WhenMissing::kLeaveAlone, [&](PropertyList::Dictionary& list) {
    auto& running = list[kRunningSourcesKey].mutableArray();
    running.insert(running.end(), sources.begin(), sources.end());
  });
}

void PluginList::deleteRunningJobOriginalPathInPlist(const std::vector<std::string>& sources) const {
  changeList(path_, WhenMissing::kLeaveAlone, [&](PropertyList::Dictionary& list) {
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
    if (action[kActionTypeKey].integer() != kRestoreAction || isLeftBehind(action)) continue;
    const PropertyList::Array& paths = action[kCopyPathsKey].array();
    for (std::size_t i = 1; i < paths.size(); i += 2) places.push_back(paths[i].text());
  }
  return places;
}

bool PluginList::addRestore(const std::string& id, const std::string& from, const std::string& to) const {
  return changeList(path_, WhenMissing::kMake, [&](PropertyList::Dictionary& list) {
    auto& actions = list[kJobListKey].mutableArray();
    std::erase_if(actions, isLeftBehind);
    actions.push_back(PropertyList::Dictionary{{kActionTypeKey, kRestoreAction},
                                               {kCopyPathsKey, PropertyList::Array{from, to}},
                                               {kProcessKey, process::identity()},
                                               {kRestoreKey, id}});
  });
}

bool PluginList::removeRestore(const std::string& id) const {
  return changeList(path_, WhenMissing::kLeaveAlone, [&](PropertyList::Dictionary& list) {
    const auto actions = list.find(kJobListKey);
    if (actions == list.end() || actions->second.kind() != PropertyList::Kind::kArray) return;
    std::erase_if(actions->second.mutableArray(), [&](const PropertyList& action) {
      const bool isOwn = action[kProcessKey].text() == process::identity() && action[kRestoreKey].text() == id;
      return isOwn || isLeftBehind(action);
    });
  });
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
