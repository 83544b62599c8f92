#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "engine/clone_services.h"
#include "engine/lost_writes.h"
#include "engine/run_seams.h"
#include "engine/run_state.h"
#include "platform/notification_center.h"
#include "platform/trash.h"
#include "platform/user_dialogs.h"

namespace lumisk {

class copyFileThreadObject;

// What a worker needs from the rest of the program. All must outlive it.
struct WorkerServices {
  FileCalls& files;
  Clock& clock;
  NotificationCenter& notifications;
  UserDialogs& dialogs;
  ImageMounter& images;
  // The stored job's flags and the preferences; runs that belong to no stored job give functions that do nothing.
  std::function<bool(std::int32_t index)> setFirstCopyFlag;
  std::function<std::uint32_t(std::int32_t index)> getDataBit;
  std::function<PropertyList(const std::string& key)> preference;  // of "SGPreferences"
  // What a run keeps and records, made when the targets are open and locked and gone when the run ends; and what a
  // worker listens to, made with the worker. Empty ones keep, record and hear nothing.
  std::function<std::unique_ptr<VersionKeeper>(RunState& run, Trash& trash, const std::string& target)> versionKeeper{};
  std::function<std::unique_ptr<RunRecorder>(RunState& run)> runRecorder{};
  std::function<std::unique_ptr<EventListening>(copyFileThreadObject& worker)> eventListening{};
  CloneServices clone{};
  // Beside a worker's own, for runs at full pace. They change no result.
  std::size_t threads = 0;
  std::shared_ptr<LostWrites> lostWrites = std::make_shared<LostWrites>();  // one for all workers of a process
};

}  // namespace lumisk
