#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "cli/job_table.h"
#include "cli/json_text.h"
#include "cli/options.h"
#include "devices/data_list_object.h"
#include "devices/volume_inventory.h"
#include "platform/byte_text.h"

namespace lumisk {
namespace {

struct VolumesOptions {
  bool json = false;
};

std::string volumeTable(const std::vector<Volume>& volumes) {
  std::vector<std::vector<std::string>> rows{{"NAME", "PATH", "FILE SYSTEM", "SIZE", "FREE", "DEVICE"}};
  for (const Volume& volume : volumes)
    rows.push_back({displayText(volume.name), displayText(volume.path), volume.fileSystem,
                    dataListObject::sizeWithGMKFormat(volume.bytes),
                    dataListObject::sizeWithGMKFormat(volume.freeBytes), displayText(volume.device)});
  return columnsText(rows);
}

std::string volumesJson(const std::vector<Volume>& volumes) {
  auto list = nlohmann::ordered_json::array();
  for (const Volume& volume : volumes) {
    nlohmann::ordered_json entry;
    entry["name"] = jsonOfText(volume.name);
    entry["path"] = jsonOfText(volume.path);
    entry["fileSystem"] = volume.fileSystem;
    entry["size"] = volume.bytes;
    entry["free"] = volume.freeBytes;
    entry["device"] = jsonOfText(volume.device);
    entry["readOnly"] = volume.isReadOnly;
    list.push_back(std::move(entry));
  }
  return printedJson(list);
}

Checked<Ending> showVolumes(const VolumesOptions& options, CommandIo& io) {
  const auto volumes = mountedVolumes();
  io.out << (options.json ? volumesJson(volumes) : volumeTable(volumes));
  return Ending::kDone;
}

}  // namespace

void addVolumesCommand(CLI::App& parent, CommandRun& chosen) {
  auto* command = parent.add_subcommand("volumes", "Show the mounted volumes");
  auto options = std::make_shared<VolumesOptions>();
  addSwitch(*command, "--json", options->json, "Print an array of JSON objects");
  chooseWhenNamed(*command, chosen, options, &showVolumes);
}

}  // namespace lumisk
