#include "jobs/job_store.h"

namespace lumisk {
namespace {

bool hasSingleTarget(const PropertyList& folders) {
  return !folders.at(0)[kTargetFlagKey].boolean();
}

bool hasSource(const PropertyList& folders, const std::string& path, bool subDirectory) {
  for (std::size_t i = 1; i < folders.array().size(); i += 2) {
    if (compareStringPathExt(folders.at(i).text(), path, subDirectory)) return true;
  }
  return false;
}

}  // namespace

bool JobStore::isExempt(std::size_t index, Editing edit) const {
  return edit == Editing::kSelectedJob && m_nIndex >= 0 && static_cast<std::size_t>(m_nIndex) == index;
}

bool JobStore::checkJobNameIsExist(const std::string& name, Editing edit) {
  const std::lock_guard guard(m_lock);
  for (std::size_t i = 0; i < m_preferenceInfo.size(); ++i) {
    if (!isExempt(i, edit) && m_preferenceInfo[i][kObjectNameKey].text() == name) return true;
  }
  return false;
}

bool JobStore::checkDirectoryIsExist(const std::string& path, bool checkTarget, Editing edit, bool subDirectory) {
  const std::lock_guard guard(m_lock);
  for (std::size_t i = 0; i < m_preferenceInfo.size(); ++i) {
    if (isExempt(i, edit)) continue;
    const PropertyList& folders = m_preferenceInfo[i][kBackupFoldersKey];
    if (!checkTarget && hasSource(folders, path, subDirectory)) return true;
    if (hasSingleTarget(folders) && compareStringPath(folders.at(2).text(), path, subDirectory)) return true;
  }
  return false;
}

bool JobStore::checkingDestinationFolderHasChanged(const std::string& path) {
  const std::lock_guard guard(m_lock);
  if (!isIndex(m_nIndex)) return true;
  const PropertyList& folders = m_preferenceInfo[static_cast<std::size_t>(m_nIndex)][kBackupFoldersKey];
  return !hasSingleTarget(folders) || folders.at(2).text() != path;
}

}  // namespace lumisk
