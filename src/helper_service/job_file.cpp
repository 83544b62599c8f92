#include "helper_service/job_file.h"

#include <cerrno>

#include "platform/acting_as.h"
#include "platform/framed_dictionary.h"
#include "platform/paths.h"
#include "platform/untrusted_file.h"

namespace lumisk {
namespace {

constexpr std::size_t kLongestPath = 4095;
constexpr std::size_t kLongestName = 255;

tl::unexpected<Error> isWrong(const char* key) {
  return fail("use the job file", key, EINVAL, "missing, or not what it should be");
}

const PropertyList& valueOf(const PropertyList::Dictionary& job, const char* key) {
  static const PropertyList kMissing;
  const auto found = job.find(key);
  return found == job.end() ? kMissing : found->second;
}

Result<std::string> textOf(const PropertyList::Dictionary& job, const char* key) {
  std::string text = valueOf(job, key).text();
  if (text.empty() || text.size() > kLongestPath || text.find('\0') != std::string::npos) return isWrong(key);
  return text;
}

Result<std::string> pathOf(const PropertyList::Dictionary& job, const char* key) {
  LUMISK_TRY(std::string path, textOf(job, key));
  if (!isPlainPath(path)) return isWrong(key);
  return path;
}

// A missing one is false.
Result<bool> flagOf(const PropertyList::Dictionary& job, const char* key) {
  const PropertyList& value = valueOf(job, key);
  if (!value.isNone() && value.kind() != PropertyList::Kind::kBoolean) return isWrong(key);
  return value.boolean();
}

// 1 also removes what the source no longer has; without the key nothing is removed.
Result<bool> removesExtras(const PropertyList::Dictionary& job) {
  constexpr const char* kKey = "kCloneType";
  const PropertyList& value = valueOf(job, kKey);
  if (value.isNone()) return false;
  if (value.kind() != PropertyList::Kind::kInteger || value.integer() < 0 || value.integer() > 1) return isWrong(kKey);
  return value.integer() == 1;
}

Result<PropertyList::Dictionary> dictionaryOf(const std::string& bytes, const std::string& name) {
  if (bytes.starts_with("bplist")) return fail("read", name, kNotADictionary, "a binary property list");
  auto list = parsePropertyList(bytes);
  if (!list) return fail("read", name, kNotADictionary, list.error().detail);
  if (list->kind() != PropertyList::Kind::kDictionary) return fail("read", name, kNotADictionary, "no dictionary");
  return std::move(list->mutableDictionary());
}

Result<void> checkFileName(const std::string& name) {
  if (statusFileName(name, StatusFile::kEnd).size() <= kLongestName) return {};
  return fail("use the job file", name, ENAMETOOLONG);
}

}  // namespace

Result<CloneOrder> cloneOrderOf(const PropertyList::Dictionary& job) {
  CloneOrder order;
  LUMISK_TRY(order.sourcePath, pathOf(job, "kSourcePath"));
  LUMISK_TRY(order.targetPath, pathOf(job, "kTargetPath"));
  LUMISK_TRY(order.targetDevice, textOf(job, "kTargetBSDPath"));
  LUMISK_TRY(order.formatVolume, flagOf(job, "kFormatVolume"));
  LUMISK_TRY(order.repairPermissions, flagOf(job, "kRepairPermissions"));
  LUMISK_TRY(order.verify, flagOf(job, "kVerify"));
  LUMISK_TRY(order.removesExtras, removesExtras(job));
  return order;
}

bool isCancelAsked(const PropertyList::Dictionary& job) {
  return flagOf(job, "kCancelStatus").value_or(false);
}

std::string statusFileName(const std::string& jobFile, StatusFile which) {
  return paths::withoutExtension(jobFile) + (which == StatusFile::kProgress ? "_1.plist" : "_2.plist");
}

Result<PropertyList::Dictionary> readJobFile(int folder, const std::string& name, const JobOwner& owner) {
  LUMISK_TRY(const ActingAs acting, ActingAs::user(owner.user, owner.group));
  LUMISK_TRY(const std::string bytes, readPrivateFile(folder, name, {owner.user, kLargestJobFile}));
  return dictionaryOf(bytes, name);
}

Result<CloneJob> openCloneJob(const std::string& path, const JobOwner& owner) {
  CloneJob job;
  if (!isPlainPath(path) || path == "/") return fail("use the job file", path, EINVAL, "not a plain absolute path");
  job.folderPath = paths::parent(path);
  job.name = paths::lastComponent(path);
  job.owner = owner;
  LUMISK_CHECK(checkFileName(job.name));
  {
    LUMISK_TRY(const ActingAs acting, ActingAs::user(owner.user, owner.group));
    LUMISK_TRY(job.folder, openFolderWithoutLinks(job.folderPath));
    LUMISK_CHECK(checkFolderOwner(job.folder.get(), owner.user));
  }
  LUMISK_TRY(const auto dictionary, readJobFile(job.folder.get(), job.name, owner));
  LUMISK_TRY(job.order, cloneOrderOf(dictionary));
  return job;
}

}  // namespace lumisk
