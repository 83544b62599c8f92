#include "presenters/target_room.h"

#include <chrono>

#include "devices/data_list_object.h"
#include "devices/volume_inventory.h"
#include "platform/mount_table.h"
#include "platform/translation.h"
#include "platform/workspace.h"
#include "presenters/locale_text.h"

namespace lumisk {
namespace {

using Job = QUORVELPREFERENCEINFO;
using std::chrono::steady_clock;

constexpr std::chrono::milliseconds kBetweenReports{200};

bool asksTheSame(const Job& a, const Job& b) {
  return a.jobType == b.jobType && a.bRetainFullPath == b.bRetainFullPath && a.sourcePaths == b.sourcePaths &&
         a.targetPaths == b.targetPaths && a.inclusionArray == b.inclusionArray && a.exclusionArray == b.exclusionArray;
}

// Of the nearest folder that is there: the target may be one that is made later.
TargetRoom roomOf(const std::string& target) {
  TargetRoom room;
  const VolumeSize size = bunGetVolumeSize(target);
  room.bytes = size.total();
  room.freeBytes = size.free();
  room.isKnown = room.bytes != 0;
  room.volumeName = bunGetVolumeName(target);
  room.formatText = dataListObject::getFileSystemTypeWithPath(target).value_or("");
  return room;
}

ScanOrder orderOf(const Job& job, const std::string& target) {
  ScanOrder order;
  order.pairs = scanPairs(job, target);
  order.inclusion = job.inclusionArray;
  order.exclusion = job.exclusionArray;
  if (const auto info = workspace::fileSystemInfo(target)) order.traits = targetTraits(info->type);
  for (const MountEntry& mount : mountTable().value_or(std::vector<MountEntry>()))
    if (isPseudoFileSystem(mount.fileSystem)) order.leftOutDevices.insert(mount.device);
  return order;
}

}  // namespace

std::string roomSentence(const TargetRoom& room) {
  const auto size = dataListObject::sizeWithGMKFormat;
  if (!room.isKnown) return translated("The volume is not there at the moment.");
  if (room.isCounting)
    return filled(translated("{} of {} are free. Counting what will be copied: {} so far."), size(room.freeBytes),
                  size(room.bytes), size(room.need.bytes));
  if (!room.fits())
    return filled(translated("{} are free, and {} are needed."), size(room.freeBytes), size(room.addedBytes()));
  return filled(translated("{} will be added. Then {} of {} are free."), size(room.addedBytes()),
                size(room.freeBytes - room.addedBytes()), size(room.bytes));
}

void TargetRoomPresenter::look(const Job& job) {
  if (asksTheSame(job, asked_)) return;
  asked_ = job;
  task_.cancel();
  room_.reset();
  if (job.targetPaths.empty()) return changed();
  task_.start([this, &files = files_, job](const BackgroundTask::Context& context) {
    const std::string target = job.targetPaths.front();
    TargetRoom room = roomOf(target);
    const ScanOrder order = orderOf(job, target);
    room.lossText = lossText(order.traits);
    const auto report = [&](const TargetNeed& need, bool isCounting) {
      room.need = need;
      room.isCounting = isCounting;
      context.tell([this, room] {
        room_ = room;
        changed();
      });
    };
    auto last = steady_clock::now();
    report({}, true);
    const auto need = scanForTarget(
        files, order, [&] { return context.isCancelled(); },
        [&](const TargetNeed& soFar) {
          if (steady_clock::now() - last < kBetweenReports) return;
          last = steady_clock::now();
          report(soFar, true);
        });
    report(need, false);
  });
  changed();
}

}  // namespace lumisk
