#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "cli/job_table.h"
#include "cli/json_text.h"
#include "cli/options.h"
#include "devices/volume_inventory.h"
#include "platform/block_device.h"
#include "platform/byte_text.h"

namespace lumisk {
namespace {

struct DisksOptions {
  bool json = false;
};

std::string diskTable(const PropertyList::Array& disks) {
  std::vector<std::vector<std::string>> rows{{"DISK", "DEVICE"}};
  for (const PropertyList& disk : disks)
    rows.push_back({displayText(disk[kDiskNameKey].text()), displayText(disk[kBSDNameKey].text())});
  return columnsText(rows);
}

std::string disksJson(const std::vector<block_device::Disk>& disks) {
  auto list = nlohmann::ordered_json::array();
  for (const block_device::Disk& disk : disks) {
    nlohmann::ordered_json entry;
    entry["name"] = jsonOfText(disk.description);
    entry["size"] = disk.bytes;
    entry["device"] = jsonOfText(disk.node);
    entry["removable"] = disk.isRemovable;
    list.push_back(std::move(entry));
  }
  return printedJson(list);
}

Checked<Ending> showDisks(const DisksOptions& options, CommandIo& io) {
  io.out << (options.json ? disksJson(block_device::disks()) : diskTable(getHardDiskDictArray()));
  return Ending::kDone;
}

}  // namespace

void addDisksCommand(CLI::App& parent, CommandRun& chosen) {
  auto* command = parent.add_subcommand("disks", "Show the disks of this machine");
  auto options = std::make_shared<DisksOptions>();
  addSwitch(*command, "--json", options->json, "Print an array of JSON objects");
  chooseWhenNamed(*command, chosen, options, &showDisks);
}

}  // namespace lumisk
