#include "clone/entry_attributes.h"

#include <algorithm>
#include <cerrno>

#include "clone/unfinished_mark.h"
#include "platform/entry_calls.h"

namespace lumisk {
namespace {

bool isThere(const Attributes& attributes, const std::string& name) {
  return std::any_of(attributes.begin(), attributes.end(), [&](const auto& one) { return one.first == name; });
}

Result<std::string> valueOf(FileCalls& files, const EntryHandle& entry, const std::string& name) {
  return entry.descriptor >= 0 ? files.attribute(entry.descriptor, name)
                               : entry_calls::attribute(entry.folder, entry.name, name);
}

Result<void> setValue(FileCalls& files, const EntryHandle& entry, const std::string& name, const std::string& value) {
  return entry.descriptor >= 0 ? files.setAttribute(entry.descriptor, name, value)
                               : entry_calls::setAttribute(entry.folder, entry.name, name, value);
}

Result<void> removeValue(FileCalls& files, const EntryHandle& entry, const std::string& name) {
  auto removed = entry.descriptor >= 0 ? files.removeAttribute(entry.descriptor, name)
                                       : entry_calls::removeAttribute(entry.folder, entry.name, name);
  if (!removed && removed.error().code == ENODATA) return {};
  return removed;
}

}  // namespace

bool isCarriedAttribute(const std::string& name) {
  if (name.starts_with("system.")) return name == "system.posix_acl_access" || name == "system.posix_acl_default";
  const bool isAccessListOfXfs = name.starts_with("trusted.SGI_ACL_");
  return !name.starts_with("btrfs.") && name != "security.evm" && name != UnfinishedMark::kAttribute &&
         !isAccessListOfXfs;
}

Result<std::vector<std::string>> listCarriedAttributes(FileCalls& files, const EntryHandle& entry) {
  auto names = entry.descriptor >= 0 ? files.listAttributes(entry.descriptor)
                                     : entry_calls::listAttributes(entry.folder, entry.name);
  if (!names && names.error().code == EOPNOTSUPP) return std::vector<std::string>{};
  if (names) std::erase_if(*names, [](const std::string& name) { return !isCarriedAttribute(name); });
  return names;
}

Result<Attributes> readAttributes(FileCalls& files, const EntryHandle& entry) {
  LUMISK_TRY(auto names, listCarriedAttributes(files, entry));
  Attributes attributes;
  std::sort(names.begin(), names.end());
  for (std::string& name : names) {
    auto value = valueOf(files, entry, name);
    if (!value && value.error().code == ENODATA) continue;  // went in between
    if (!value) return fail(std::move(value).error());
    attributes.emplace_back(std::move(name), std::move(*value));
  }
  return attributes;
}

Result<bool> haveSameAttributes(FileCalls& files, const EntryHandle& a, const EntryHandle& b) {
  LUMISK_TRY(const auto namesOfA, listCarriedAttributes(files, a));
  LUMISK_TRY(const auto namesOfB, listCarriedAttributes(files, b));
  if (namesOfA.size() != namesOfB.size()) return false;
  if (namesOfA.empty()) return true;
  LUMISK_TRY(const Attributes valuesOfA, readAttributes(files, a));
  LUMISK_TRY(const Attributes valuesOfB, readAttributes(files, b));
  return valuesOfA == valuesOfB;
}

Result<void> writeAttributes(FileCalls& files, const EntryHandle& entry, const Attributes& wanted) {
  LUMISK_TRY(const auto present, listCarriedAttributes(files, entry));
  Result<void> first;
  const auto note = [&](Result<void> done) {
    if (!done && first) first = std::move(done);
  };
  for (const std::string& name : present) {
    if (!isThere(wanted, name)) note(removeValue(files, entry, name));
  }
  for (const auto& [name, value] : wanted) {
    const bool mayBeEqual = std::find(present.begin(), present.end(), name) != present.end();
    const auto standing = mayBeEqual ? valueOf(files, entry, name) : Result<std::string>(fail("", "", ENODATA));
    if (!standing || *standing != value) note(setValue(files, entry, name, value));
  }
  return first;
}

}  // namespace lumisk
