#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "jobs/job_record.h"
#include "platform/user_defaults.h"

namespace lumisk {

inline constexpr const char* kJobArrayKey = "Qel LumiskSettings";
inline constexpr const char* kStoreNameKey = "Qel Lumisk";
inline constexpr const char* kStoreSwitchKey = "Qel Lumisk_Switch";
inline constexpr const char* kPreferencesKey = "SGPreferences";

// All jobs, in order; a job's position is its index. Mirrored whole into the user defaults after every change.
//
// Threads: m_preferenceInfo is guarded by m_lock; every operation takes it itself unless said otherwise. m_currentInfo,
// m_tempInfo and m_nIndex belong to the thread that edits jobs (the main thread).
// Errors: the booleans say what the operation found; when a write failed the operation gives false, too, the array in
// memory is what the store still holds, and lastError() says why.
class JobStore {
 public:
  explicit JobStore(UserDefaults& defaults, const Clock& clock);

  void initializePreferenceInfo();
  bool readPreferenceInfo();  // appends; false when the name or the array is missing
  bool savePreferenceInfo();
  bool reloadPreferenceInfo();
  void destroyPreferenceInfo();

  // lock: whether to take m_lock (a caller that holds it says kHeld).
  enum class Locking { kTake, kHeld };
  bool fetchPreferenceInfo(std::int32_t index, Locking lock);
  bool addPreferenceInfo(std::int32_t index);  // m_currentInfo; negative: append
  bool storePreferenceInfo(std::int32_t index);
  bool deletePreferenceInfo(std::int32_t index);
  // Changes one stored job in place and saves. Status updates go through here.
  bool changeJob(std::int32_t index, const std::function<void(PropertyList::Dictionary&)>& edit);

  void preferenceInfoLock() { m_lock.lock(); }
  void preferenceInfoUnlock() { m_lock.unlock(); }
  bool readInfoWithUserName(const std::string& user);   // other users' stores: not kept, always false
  bool writeInfoWithUserName(const std::string& user);  // likewise

  void init_tempInfo(bool keepSources);
  void get_tempInfoFromCurrentInfo();
  void get_currentInfoFromTempInfo();

  enum class Editing { kNewJob, kSelectedJob };  // the selected job (m_nIndex) does not clash with itself
  bool checkJobNameIsExist(const std::string& name, Editing edit);
  bool checkDirectoryIsExist(const std::string& path, bool checkTarget, Editing edit, bool subDirectory);
  bool checkingDestinationFolderHasChanged(const std::string& path);

  // One-time import of the sibling product's jobs.
  bool checkVersionOfTarnwick();
  // Empties "RunningJobSourcePath" of the file shared with the file manager's plug-in.
  void removeAllRunningJob();

  // Straight in the user defaults, for the copy worker.
  bool getDataBit(std::int32_t index, std::uint32_t& bits);
  bool setDataBit(std::int32_t index, std::uint32_t bits);  // does nothing, true
  bool setFirstCopyFlag(std::int32_t index);

  [[nodiscard]] PropertyList::Array jobs();  // a copy of the array
  [[nodiscard]] std::int32_t count();
  [[nodiscard]] std::int32_t indexOfName(const std::string& name);  // -1 when there is none
  [[nodiscard]] std::int32_t indexOfUuid(const std::string& uuid);
  [[nodiscard]] PropertyList preference(const std::string& key);  // an entry of "SGPreferences"
  [[nodiscard]] const Error& lastError() const { return lastError_; }

  QUORVELPREFERENCEINFO m_currentInfo;
  QUORVELPREFERENCEINFO m_tempInfo;
  std::int32_t m_nIndex = -1;

 private:
  bool saveLocked();

  UserDefaults& defaults_;
  const Clock& clock_;
  std::mutex m_lock;
  PropertyList::Array m_preferenceInfo;
  Error lastError_;
};

// Same path, or with subDirectory also inside or around it, by whole components.
[[nodiscard]] bool compareStringPath(const std::string& path1, const std::string& path2, bool subDirectory);
// The same for sources, by the same rule.
[[nodiscard]] bool compareStringPathExt(const std::string& path1, const std::string& path2, bool subDirectory);

}  // namespace lumisk
