#include "clone/volume_format.h"

#include <fmt/format.h>

#include "clone/clone_places.h"
#include "clone/clone_rule.h"
#include "platform/unmount.h"
#include "platform/volume_changes.h"

namespace lumisk {
namespace {

using State = FormatResult::State;

FormatResult broken(const std::string& what, const Error& error, const std::string& left) {
  return {State::kBroken, fmt::format("{}: {}; {}", what, error.text(), left)};
}

std::uint64_t entriesToHold(CloneState& state) {
  const auto used = volume::usedEntries(state.source.root.get());
  return used ? *used + *used / 8 + 1000 : 0;
}

FormatResult afterRefusal(const MountEntry& mount, const std::string& node, const Error& error) {
  const std::string what = "the target cannot be erased: something else uses it: " + error.text();
  const auto back = volume::mountAgain(mount, node, mount.fileSystem);
  if (back) return {State::kUntouched, what};
  return broken(what, back.error(), "nothing was changed, but it is not mounted");
}

// mkfs looks before it writes, so that what it refuses is still what it was.
FormatResult afterFailedMaking(const MountEntry& mount, const std::string& node, const Error& error) {
  const auto back = volume::mountAgain(mount, node, mount.fileSystem);
  return broken("the target could not be erased", error,
                back ? "it is mounted again as it was" : "it is not mounted: " + back.error().text());
}

}  // namespace

FormatResult formatTarget(CloneState& state, const CloneFacts& facts, const std::string& label) {
  const MountEntry& mount = *facts.target.mount;
  const std::string node = deviceNodeOf(mount);
  const std::string fileSystem = fileSystemToMake(facts.source.mount->fileSystem);
  const std::uint64_t entries = entriesToHold(state);
  const auto held = volume::holdDevice(node);
  if (!held) return {State::kUntouched, held.error().text()};
  state.target.root.reset();
  if (const auto unmounted = unmountVolume(mount.mountPoint); !unmounted)
    return {State::kUntouched, "the target cannot be erased: " + unmounted.error().text()};
  if (const auto unused = volume::checkUnused(node); !unused) return afterRefusal(mount, node, unused.error());
  const std::string shortLabel = fittingLabel(label, volume::longestLabel(fileSystem));
  if (const auto made = volume::makeFileSystem(fileSystem, node, shortLabel, entries); !made)
    return afterFailedMaking(mount, node, made.error());
  if (const auto back = volume::mountAgain(mount, node, fileSystem); !back)
    return broken("the target cannot be mounted", back.error(),
                  fmt::format("it was erased, and {} holds an empty {} that is not mounted", node, fileSystem));
  auto opened = openTargetAgain(state, facts.target.blockDevice);
  if (!opened)
    return broken("the target cannot be opened", opened.error(), "it was erased and is mounted, and is empty");
  state.target = std::move(*opened);
  return {State::kReady, {}};
}

}  // namespace lumisk
