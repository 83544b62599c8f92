#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "jobs/job_record.h"
#include "jobs/path_comparison.h"
#include "platform/clock.h"
#include "platform/user_defaults.h"

namespace lumisk {

inline constexpr const char* kJobArrayKey = "Qel LumiskSettings";
inline constexpr const char* kStoreNameKey = "Qel Lumisk";
inline constexpr const char* kStoreSwitchKey = "Qel Lumisk_Switch";
inline constexpr const char* kPreferencesKey = "SGPreferences";

// Whether an edit points a job elsewhere, or has it carry other entries of the same folders: what its completed runs
// proved is true only of what those carried. How versions and the losers of conflicts are kept proves nothing.
[[nodiscard]] bool isAnotherTask(const PropertyList& before, const QUORVELPREFERENCEINFO& after);

// All jobs, in order; a job's position is its index. Mirrored whole into the user defaults after every change.
//
// Threads: m_preferenceInfo is guarded by m_lock; every operation takes it itself unless said otherwise. m_currentInfo,
// m_tempInfo and m_nIndex belong to the thread that edits jobs (the main thread).
// Errors: the booleans say what the operation found. When reading or writing failed the operation gives false, too, the
// array in memory stays what the store held when it was last read or written, and lastError() says why.
// Safety: jobs that are stored but were never read (the file was unreadable at the time) are not overwritten: saving
// fails until a read succeeds. Whatever stands under the job array's key and cannot be loaded (the store's name is
// missing beside it, or it is no array) is kept under a dated key by the save that replaces it, and reported by
// takeWarnings().
class JobStore {
 public:
  explicit JobStore(UserDefaults& defaults, const Clock& clock);

  void initializePreferenceInfo();
  bool readPreferenceInfo();  // appends; false when the name or the array is missing
  bool savePreferenceInfo();
  bool reloadPreferenceInfo();  // when the store cannot be read, the jobs in memory stay
  void destroyPreferenceInfo();
  // Marks every job as not running, in memory only: a run that the last quit cut short is not shown as running.
  void initializeStatus();

  enum class Locking { kTake, kHeld };  // kHeld: the caller has taken m_lock
  bool fetchPreferenceInfo(std::int32_t index, Locking lock);
  // Both store m_currentInfo and set its jobModifyTime to now: making and editing a job begin a new phase of its timer.
  // Changes that are no edits go through changeJob(). What m_currentInfo says of the job's runs is stored, too: fetch
  // the job right before. A job whose type, folders or filters change has completed no run: "NSLastCompletedBegin" is
  // dropped.
  bool addPreferenceInfo(std::int32_t index);  // negative: append
  bool storePreferenceInfo(std::int32_t index);
  bool deletePreferenceInfo(std::int32_t index);
  // Changes one stored job in place and saves; nothing is written when nothing changed. Status updates go through here.
  // `edit` runs under m_lock.
  bool changeJob(std::int32_t index, const std::function<void(PropertyList::Dictionary&)>& edit);

  // While one lives, changeJob() changes the jobs in memory alone, and what it changed is written once, when the last
  // of them goes, or one within another, or before anything else is written or read. Where that fails the jobs are what
  // they were before, as ever. On the main thread.
  class Gathering {
   public:
    explicit Gathering(JobStore& store) : store_(store) { store_.beginGathering(); }
    ~Gathering() { store_.endGathering(); }
    Gathering(const Gathering&) = delete;
    Gathering& operator=(const Gathering&) = delete;

   private:
    JobStore& store_;
  };

  // Puts a changed array in the place of the one that it was made from, in one step; false, with nothing changed, when
  // the jobs are no longer `expected`.
  bool replaceAll(const PropertyList::Array& expected, PropertyList::Array next);

  void preferenceInfoLock() { m_lock.lock(); }
  void preferenceInfoUnlock() { m_lock.unlock(); }
  bool readInfoWithUserName(const std::string&) { return false; }  // other users' stores are not kept
  bool writeInfoWithUserName(const std::string&) { return false; }

  void init_tempInfo(bool keepSources);
  void get_tempInfoFromCurrentInfo() { m_tempInfo = m_currentInfo; }
  void get_currentInfoFromTempInfo() { m_currentInfo = m_tempInfo; }

  enum class Editing { kNewJob, kSelectedJob };  // the selected job (m_nIndex) does not clash with itself
  bool checkJobNameIsExist(const std::string& name, Editing edit);
  bool checkDirectoryIsExist(const std::string& path, bool checkTarget, Editing edit, bool subDirectory);
  bool checkingDestinationFolderHasChanged(const std::string& path);

  // One-time import of the sibling product's jobs. A job that is here already (same uuid; without one, same name) is
  // not added again; another job's name gets a number. True when the import ran, now or before.
  bool checkVersionOfTarnwick();
  // Empties "RunningJobSourcePath" of the file shared with the file manager's plug-in.
  void removeAllRunningJob();

  // Straight in the user defaults, for the copy worker.
  bool getDataBit(std::int32_t index, std::uint32_t& bits);
  bool setDataBit(std::int32_t index, std::uint32_t bits);  // does nothing, true
  bool setFirstCopyFlag(std::int32_t index);                // in memory, too, so that no later save brings it back
  [[nodiscard]] PropertyList::Array jobs();                 // a copy of the array
  [[nodiscard]] PropertyList job(std::int32_t index);       // kNone when there is none
  [[nodiscard]] std::int32_t count();
  [[nodiscard]] std::int32_t indexOfName(const std::string& name);  // -1 when there is none
  [[nodiscard]] std::int32_t indexOfUuid(const std::string& uuid);
  [[nodiscard]] PropertyList preference(const std::string& key);  // an entry of "SGPreferences"
  // Why the last operation failed; empty when it did not fail, or only found no such job.
  [[nodiscard]] Error lastError();
  [[nodiscard]] std::vector<std::string> takeWarnings();  // what was kept aside, one line each, for the face to show

  QUORVELPREFERENCEINFO m_currentInfo;
  QUORVELPREFERENCEINFO m_tempInfo;
  std::int32_t m_nIndex = -1;

 private:
  using Array = PropertyList::Array;
  using Dictionary = PropertyList::Dictionary;

  void beginGathering();
  void endGathering();
  // With m_lock held.
  bool writeGathered();
  Result<bool> appendStored();  // whether there was something to append
  bool replaceJobs(Array next);
  void mirrorFirstCopy(std::int32_t index, const PropertyList& stored);
  [[nodiscard]] bool isIndex(std::int32_t index) const;
  [[nodiscard]] bool isExempt(std::size_t index, Editing edit) const;
  // Without.
  [[nodiscard]] std::int32_t indexWhere(const char* key, const std::string& text);
  bool importJobs(const Array& theirs);
  // With or without.
  bool succeeded();
  bool failed(Error error);
  void warnAboutKept(const std::optional<std::string>& keptUnder);

  UserDefaults& defaults_;
  const Clock& clock_;
  std::mutex m_lock;
  Array m_preferenceInfo;
  bool wasRead_ = false;  // m_preferenceInfo holds all that is stored
  int gatherings_ = 0;
  std::optional<Array> ungathered_;  // what is stored, while m_preferenceInfo is ahead of it
  std::mutex reportLock_;            // guards what follows; taken after m_lock
  Error lastError_;
  std::vector<std::string> warnings_;
};

}  // namespace lumisk
