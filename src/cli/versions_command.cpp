#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "cli/job_table.h"
#include "cli/json_text.h"
#include "cli/known_versions.h"
#include "cli/options.h"
#include "platform/byte_text.h"
#include "platform/calendar_date.h"

namespace lumisk {
namespace {

struct VersionsOptions {
  std::string path;
  bool json = false;
};

const char* typeName(FileType type) {
  if (type == FileType::kFolder) return "folder";
  return type == FileType::kLink ? "link" : "file";
}

nlohmann::ordered_json jsonOf(const Version& version, std::size_t number) {
  nlohmann::ordered_json json;
  json["number"] = number;
  json["kind"] = versionKindName(version.kind);
  if (version.kind == VersionKind::kRevision) json["revision"] = version.revision;
  json["type"] = typeName(version.status.type);
  json["date"] = versionDateText(version);
  json["size"] = version.status.size;
  if (version.deleted) json["deleted"] = storedDate(*version.deleted);
  json["job"] = jsonOfText(version.place.job);
  json["path"] = jsonOfText(version.path);
  return json;
}

std::string listJson(const std::vector<Version>& versions) {
  auto list = nlohmann::ordered_json::array();
  for (const Version& version : versions) list.push_back(jsonOf(version, list.size() + 1));
  return printedJson(list);
}

std::string table(const std::vector<Version>& versions) {
  std::vector<std::vector<std::string>> rows{{"NO.", "KIND", "DATE", "SIZE", "PATH"}};
  for (const Version& version : versions) {
    rows.push_back({std::to_string(rows.size()), versionKindText(version), versionDateText(version),
                    versionSizeText(version), displayText(version.path)});
  }
  return columnsText(rows);
}

Checked<Ending> versions(const VersionsOptions& options, CommandIo& io) {
  LUMISK_TRY(const AskedPath asked, askedPath(options.path, io));
  LUMISK_TRY(const KnownVersions known, knownVersions(asked, io));
  io.out << (options.json ? listJson(known.versions) : table(known.versions));
  return known.problems.empty() ? Ending::kDone : Ending::kIncomplete;
}

}  // namespace

void addVersionsCommand(CLI::App& parent, CommandRun& chosen) {
  auto* command = parent.add_subcommand("versions", "List the versions of a file or folder that can be restored");
  auto options = std::make_shared<VersionsOptions>();
  addText(*command, "PATH", options->path, "A path at a job's source, there or not, or the copy's in a target")
      ->required()
      ->type_name("");
  addSwitch(*command, "--json", options->json, "Print a JSON array of objects");
  chooseWhenNamed(*command, chosen, options, &versions);
}

}  // namespace lumisk
