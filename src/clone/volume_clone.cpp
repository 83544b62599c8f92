#include "clone/volume_clone.h"

#include <fmt/format.h>

#include <cerrno>

#include "clone/clone_places.h"
#include "clone/clone_refusal.h"
#include "clone/clone_rule.h"
#include "clone/clone_state.h"
#include "clone/clone_update.h"
#include "clone/clone_verify.h"
#include "clone/volume_format.h"
#include "platform/block_device.h"
#include "platform/volume.h"
#include "platform/volume_changes.h"

namespace lumisk {
namespace {

using End = CloneReport::End;

std::string labelOf(const ClonedVolume& source, const MountEntry& mount) {
  if (auto label = volume::labelOf(source.root.get())) return std::move(*label);
  const volume::Device device = volume::deviceOf(mount);
  return block_device::label(device.number, device.node);
}

class VolumeClone {
 public:
  VolumeClone(FileCalls& files, const CloneOrder& order, CloneObserver& observer) : state_(files, order, observer) {}

  CloneReport run() {
    const bool isReady = mayBegin() && (!state_.order.formatVolume || format());
    if (isReady) update();
    return std::move(state_.report);
  }

 private:
  bool mayBegin();
  bool lockTarget();
  bool format();
  void update();
  void setLabel();
  bool bringToDisk();
  bool end(End end, std::string reason);
  void judge();

  CloneState state_;
  CloneFacts facts_;
  std::string label_;
};

bool VolumeClone::end(End end, std::string reason) {
  state_.report.end = end;
  state_.report.reason = std::move(reason);
  return false;
}

bool VolumeClone::mayBegin() {
  auto facts = openVolumes(state_);
  if (!facts) return end(End::kRefused, facts.error().text());
  facts_ = std::move(*facts);
  if (auto reason = whyRefused(state_.order, facts_)) return end(End::kRefused, std::move(*reason));
  label_ = labelOf(state_.source, *facts_.source.mount);
  if (state_.isCancelled()) return end(End::kCancelled, "cancelled before anything was done");
  return lockTarget();
}

bool VolumeClone::lockTarget() {
  const auto locked = state_.files.lockExclusively(state_.target.root.get());
  if (locked) return true;
  const bool isBusy = locked.error().code == EWOULDBLOCK;
  return end(End::kRefused, isBusy ? "something else is writing to the target" : locked.error().text());
}

bool VolumeClone::format() {
  const FormatResult result = formatTarget(state_, facts_, label_);
  if (result.state == FormatResult::State::kUntouched) return end(End::kRefused, result.reason);
  if (result.state == FormatResult::State::kBroken) return end(End::kFailed, result.reason);
  return lockTarget();
}

void VolumeClone::update() {
  state_.mark.read(state_.target.root.get());
  CloneUpdate(state_).run();
  if (!state_.mustStop() && state_.isSourceThere()) setLabel();
  const bool isOnDisk = bringToDisk();
  if (isOnDisk && state_.order.verify && !state_.mustStop()) CloneVerify(state_).run();
  judge();
}

void VolumeClone::setLabel() {
  if (label_.empty()) return;
  const int root = state_.target.root.get();
  const std::string wanted = fittingLabel(label_, volume::longestLabel(volume::fileSystemOf(*facts_.target.mount)));
  const auto present = volume::labelOf(root);
  if (present && *present == wanted) return;
  const auto set = volume::setLabel(root, wanted);
  if (!set) state_.said("", "the volume keeps its name: " + set.error().text());
}

// Errors of writing that came up since the target was opened are told by this.
bool VolumeClone::bringToDisk() {
  const int root = state_.target.root.get();
  if (!state_.mark.anythingChanged() && !state_.mark.wasFound()) return true;
  if (const auto synced = state_.files.syncFileSystem(root); !synced) {
    state_.failed("", synced.error());
    return false;
  }
  // What an earlier clone left in doubt is settled by one that has been everywhere and could do everything.
  const bool isSettled = !state_.mustStop() && state_.report.failures == 0;
  if (isSettled || !state_.mark.wasFound()) state_.mark.clear(root);
  return true;
}

void VolumeClone::judge() {
  const CloneReport& report = state_.report;
  if (state_.isCancelled()) {
    end(End::kCancelled, "cancelled");
  } else if (!state_.whatIsLost().empty()) {
    end(End::kFailed, "given up: " + state_.whatIsLost());
  } else if (report.failures > 0) {
    end(End::kFailed, fmt::format("{} entries could not be carried", report.failures));
  } else if (report.differences > 0) {
    end(End::kFailed, fmt::format("{} differences were found by verifying", report.differences));
  } else {
    end(End::kFinished, {});
  }
}

}  // namespace

CloneReport cloneVolume(FileCalls& files, const CloneOrder& order, CloneObserver& observer) {
  return VolumeClone(files, order, observer).run();
}

}  // namespace lumisk
