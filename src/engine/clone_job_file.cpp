#include "engine/clone_job_file.h"

#include <filesystem>

#include "engine/small_file.h"
#include "platform/home_folder.h"
#include "platform/paths.h"

namespace lumisk {
namespace {

constexpr std::uint32_t kOwnerOnly = 0700;

Result<Descriptor> folderBelow(FileCalls& files, const std::string& path, const std::string& name) {
  LUMISK_TRY(const Descriptor above, files.openRoot(path));
  const auto made = files.makeFolder(above.get(), name, kOwnerOnly);
  if (!made && made.error().code != EEXIST) return fail(made.error());
  return files.openRoot(paths::join(path, name));
}

PropertyList statusOf(const std::string& jobFile, CloneStatusFile which) {
  return readPropertyListFile(cloneStatusPath(jobFile, which)).value_or(PropertyList());
}

}  // namespace

std::string cloneStatusPath(const std::string& jobFile, CloneStatusFile which) {
  const std::string name = paths::withoutExtension(paths::lastComponent(jobFile));
  return paths::join(paths::parent(jobFile), name + (which == CloneStatusFile::kProgress ? "_1.plist" : "_2.plist"));
}

PropertyList::Dictionary cloneJobDictionary(const QUORVELPREFERENCEINFOtag_CopyFileObjectPart& info,
                                            const std::string& targetDevice, CloneType type,
                                            const std::string& jobFile) {
  return {{kCloneSourceKey, info.sourcePaths.front()},
          {kCloneTargetKey, info.targetPaths.front()},
          {kCloneTargetDeviceKey, targetDevice},
          {kCloneFormatKey, info.bFormatVolume},
          {kCloneRepairKey, info.bRepairPermissions},
          {kCloneVerifyKey, info.verifiesClone},
          {kCloneTypeKey, static_cast<std::int32_t>(type)},
          {kCloneFileKey, jobFile},
          {kCloneCancelKey, false}};
}

Result<std::string> cloneJobPath(FileCalls& files, const std::string& jobName) {
  std::string folder = homeFolder();
  for (const char* name : {"Library", "Application Support", "QelLumisk5"}) {
    LUMISK_CHECK(folderBelow(files, folder, name));
    folder = paths::join(folder, name);
  }
  std::error_code error;
  const auto resolved = std::filesystem::canonical(folder, error);
  if (error) return fail("resolve", folder, error.value());
  return paths::join(resolved.string(), jobName + ".plist");
}

Result<void> writeCloneJob(FileCalls& files, const std::string& path, const PropertyList::Dictionary& job) {
  LUMISK_TRY(const std::string bytes, propertyListToXml(job));
  LUMISK_TRY(const Descriptor folder, files.openRoot(paths::parent(path)));
  return replaceSmallFile(files, folder.get(), paths::lastComponent(path), bytes, SmallFileDurability::kNow, 0600);
}

void removeCloneStatus(FileCalls& files, const std::string& jobFile) {
  const auto folder = files.openRoot(paths::parent(jobFile));
  if (!folder) return;
  for (const CloneStatusFile which : {CloneStatusFile::kProgress, CloneStatusFile::kEnd})
    static_cast<void>(files.removeFile(folder->get(), paths::lastComponent(cloneStatusPath(jobFile, which))));
}

std::optional<CloneEnd> readCloneEnd(const std::string& jobFile) {
  const PropertyList status = statusOf(jobFile, CloneStatusFile::kEnd);
  if (status["kFinishCloneJob"].isNone()) return std::nullopt;
  CloneEnd end{status["kFinishCloneJob"].boolean(), status["kErrorCode"].integer32(), status["kErrorMessage"].text(),
               status["kDifferences"].unsignedInteger()};
  if (!status["kCopied"].isNone())
    end.counts = {status["kEntries"].unsignedInteger(), status["kCopied"].unsignedInteger(),
                  status["kBytes"].unsignedInteger()};
  return end;
}

RunningClone readRunningClone(const std::string& jobFile) {
  const PropertyList status = statusOf(jobFile, CloneStatusFile::kProgress);
  return {status["kEntries"].unsignedInteger(), status["kBytes"].unsignedInteger(), status["kCurrentFile"].text()};
}

}  // namespace lumisk
