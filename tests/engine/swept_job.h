#pragma once

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <map>
#include <ostream>
#include <set>
#include <sstream>

#include "engine/info_files.h"
#include "engine/run_sequence.h"
#include "engine/walk_borders.h"
#include "platform/temporary_name.h"
#include "support/faulty_file_calls.h"
#include "support/own_home.h"
#include "support/run_fixture.h"
#include "support/worker_fixture.h"

namespace lumisk::test {

namespace fs = std::filesystem;

// Which job; one on a tree of everything, with edits that its next run has to carry, or on an empty one.
struct Kind {
  const char* name;
  JobType type = JobType::kBackup;
  bool trash = true;
  RevisionMethod revisions = RevisionMethod::kNone;
  bool isFirstRun = false;
  bool isEmpty = false;
  std::size_t threads = testThreads();  // beside the run's own; where there are any, many small files come up
  friend std::ostream& operator<<(std::ostream& out, const Kind& kind) { return out << kind.name; }
};

using Side = std::map<std::string, std::string>;  // what stands there, by its path below the side

// Nothing of a file that is gone: the Trash of the volume is shared with tests that run at the same time.
inline std::string contentOf(const fs::path& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

// Texts carry the name of their tree, so that they are found in a Trash outside of it; what is compared does not.
inline std::string withoutMark(std::string text, const std::string& mark) {
  for (std::size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at)) text.erase(at, mark.size());
  return text;
}

inline std::string summaryOf(const fs::directory_entry& entry, const std::string& mark) {
  if (entry.is_symlink()) return "-> " + withoutMark(fs::read_symlink(entry.path()), mark);
  if (entry.is_directory()) return "folder";
  const std::string text = withoutMark(contentOf(entry.path()), mark);
  const std::string shown =
      text.size() < 64 ? text : text.substr(0, 32) + "#" + std::to_string(std::hash<std::string>()(text));
  return shown + " " + std::to_string(entry.last_write_time().time_since_epoch().count()) + " " +
         fmt::format("{:o}", static_cast<unsigned>(entry.status().permissions()));
}

// Where a Trash that fails is passed over for this one.
inline std::string volumeTrash(const TempTree& tree) {
  return fs::path(tree.path()).parent_path().string() + "/.Trash-" + std::to_string(getuid());
}

// What of the tree with this mark lies in a Trash; entries of others come and go.
inline std::vector<std::string> namesInTrash(const std::string& trash, const std::string& mark) {
  std::vector<std::string> names;
  if (!fs::is_directory(trash + "/info")) return names;
  for (const auto& entry : fs::directory_iterator(trash + "/info"))
    if (contentOf(entry.path()).find(mark.substr(1)) != std::string::npos) names.push_back(entry.path().stem());
  return names;
}

// What files contain and where links lead to, in a tree and in what of it lies in the Trash of its volume.
inline std::set<std::string> textsOf(const TempTree& tree, const std::string& mark) {
  std::set<std::string> found;
  const auto take = [&](const fs::directory_entry& entry) {
    if (entry.is_symlink())
      found.insert(fs::read_symlink(entry.path()));
    else if (entry.is_regular_file())
      found.insert(contentOf(entry.path()));
  };
  const auto look = [&](const fs::path& root) {
    for (const auto& entry : fs::recursive_directory_iterator(root)) take(entry);
  };
  look(tree.path());
  const std::string trash = volumeTrash(tree);
  for (const std::string& name : namesInTrash(trash, mark)) {
    const fs::directory_entry entry(trash + "/files/" + name);
    take(entry);
    if (entry.is_directory() && !entry.is_symlink()) look(entry.path());
  }
  return found;
}

// In memory where that is possible: thousands of runs each bring their data to the disk. What is told apart by its date
// needs no disk.
inline void preferMemory() {
  if (access("/dev/shm", W_OK) == 0) setenv("LUMISK_TEST_DIR", "/dev/shm", 0);
}

// A job of one kind on a small tree that has something of everything, with edits that its next run has to carry.
class SweptJob {
 public:
  explicit SweptJob(const Kind& kind) : kind_(kind) {
    info_.name = "job";
    info_.uuidString = "uuid";
    info_.jobType = kind.type;
    info_.bMoveFileTrash = kind.trash;
    info_.revision_method = kind.revisions;
    info_.nAutoDeletion = kind.type == JobType::kBackup ? 1 : 0;
    info_.fileConflictType = ConflictChoice::kNewerWins;
    info_.bDisplayWarning = false;
    info_.computerName = "desk";
    info_.rootDisplayName = "Root";
    info_.sourcePaths = {tree / "s/docs"};
    info_.targetPaths = {tree / "t"};
    if (kind.isEmpty) return;
    makeSource();
    if (kind.isFirstRun) putMany();
    if (kind.isFirstRun) return;
    EXPECT_TRUE(runClean().completed) << log;
    waitForTick(tree / "home");
    edit();
    putMany();
    if (isSync(kind.type)) editTarget();
  }

  ~SweptJob() { clearVolumeTrash(); }
  SweptJob(const SweptJob&) = delete;
  SweptJob& operator=(const SweptJob&) = delete;

  RunReport run(FaultyFileCalls& files, bool isForgotten = false) {
    waitForTick(tree / "home");
    WorkerServices services{files,
                            clock_,
                            center_,
                            dialogs_,
                            images_,
                            [](std::int32_t) { return true; },
                            [](std::int32_t) { return 0U; },
                            [](const std::string&) { return PropertyList(); }};
    services.threads = kind_.threads;
    RunRequest request;
    request.info = info_;
    request.method = CopyMethod::kNormal;
    request.options.pace = PaceKind::kFull;
    request.options.allowDeletions = true;
    request.begin = std::chrono::system_clock::now();
    const std::atomic<bool> off{false};
    RecordingJobLog jobLog;
    RunMemory memory = memory_;
    const RunResult result =
        RunSequence(services, memory, request, {off, off}, jobLog, [](const JobProgressMessage&) {}).run();
    log = jobLog.all();
    if (isForgotten)
      memory_ = {};
    else
      keep(request, result, memory);
    waitForTick(tree / "home");
    return result.report;
  }
  RunReport runClean() {
    FaultyFileCalls files;
    return run(files);
  }

  [[nodiscard]] Side source() const { return side(tree / "s/docs"); }
  [[nodiscard]] Side target() const { return side(targetSide()); }
  [[nodiscard]] std::string targetSide() const {
    return kind_.type == JobType::kSyncWithConflicts ? tree / "t" : tree / "t/docs";
  }
  // New ones in the place of the many small files, on the source's side; somebody may be at work there.
  void renewMany() {
    if (kind_.threads == 0) return;
    std::error_code ignored;
    putMany("aside/");
    for (const std::string& side : {tree / "s/docs", targetSide()}) fs::remove_all(side + "/many", ignored);
    fs::rename(tree / "aside/many", tree / "s/docs/many", ignored);
    fs::remove_all(tree / "aside");
  }
  // Every text of the job, in its tree and in the Trash of the volume.
  [[nodiscard]] std::set<std::string> texts() const {
    std::set<std::string> found;
    for (const std::string& text : textsOf(tree, mark_))
      if (text.starts_with("text") && text.find(mark_) != std::string::npos) found.insert(withoutMark(text, mark_));
    return found;
  }
  [[nodiscard]] std::vector<std::string> temporaries() const {
    std::vector<std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(tree.path()))
      if (isTemporaryName(entry.path().filename())) found.push_back(entry.path());
    return found;
  }

  TempTree tree{{"s", Dir{{"docs", Dir{}}}}, {"t", Dir{}}, {"home", Dir{}}};
  OwnHome home{tree / "home"};
  std::string log;

 private:
  void keep(const RunRequest& request, const RunResult& result, const RunMemory& memory) {
    memory_ = memory;
    takeRunKeys(result.report.jobKeys, info_);
    if (result.end != RunResult::End::kWhole) return;
    info_.lastBeginTime = storedDate(request.begin);
    if (result.report.completed) info_.lastCompletedBegin = storedDate(request.begin);
  }
  void clearVolumeTrash() const {
    const std::string trash = volumeTrash(tree);
    for (const std::string& name : namesInTrash(trash, mark_)) {
      fs::remove_all(trash + "/files/" + name);
      fs::remove(trash + "/info/" + name + ".trashinfo");
    }
  }
  void put(const std::string& path, const std::string& text) {
    fs::create_directories(fs::path(tree / path).parent_path());
    writeFile(tree / path, "text " + text + mark_);
    setModified(tree / path, date_ += 10);
  }
  // More than a run copies before it lets others carry them.
  void putMany(const std::string& side = "s/docs/") {
    for (int i = 0; kind_.threads > 0 && i < 64; ++i)
      put(side + "many/" + std::to_string(i % 5) + "/" + std::to_string(i), "many " + std::to_string(i));
  }
  void putLarge(const std::string& path, const std::string& text) {
    put(path, text);
    fs::resize_file(tree / path, 700'000);
    std::ofstream(tree / path, std::ios::app) << std::string(400'000, 'x') << text << mark_;
    setModified(tree / path, date_ += 10);
  }
  void makeSource() {
    for (const char* path : {"same", "changed", "gone", "becomesFolder", "conflict", "other", "d/changed", "d/gone",
                             "d/e/deep", "old/inside", "old/more/inside", "becomesFile/x", "named/x"})
      put(std::string("s/docs/") + path, std::string(path) + " 1");
    putLarge("s/docs/large", "large 1");
    makeTree(tree / "s/docs",
             {{"attributes", File{"text attributes 1" + mark_, 0640, date_ += 10, 0, {{"user.x", "1"}}}}});
    fs::create_hard_link(tree / "s/docs/changed", tree / "s/docs/otherName");
    fs::create_symlink("text link 1" + mark_, tree / "s/docs/link");
    writeFile(tree / "s/docs/empty", "");
    setModified(tree / "s/docs/empty", date_);
    fs::permissions(tree / "s/docs/d/e", fs::perms(0750));
  }
  void edit() {
    for (const char* path : {"gone", "d/gone", "old", "becomesFolder", "becomesFile", "link"})
      fs::remove_all(tree / (std::string("s/docs/") + path));
    for (const char* path : {"changed", "d/changed", "becomesFolder/x", "becomesFile", "new", "n/new", "conflict"})
      put(std::string("s/docs/") + path, std::string(path) + " 2");
    putLarge("s/docs/large", "large 2");
    makeTree(tree / "s/docs",
             {{"attributes", File{"text attributes 2" + mark_, 0600, date_ += 10, 0, {{"user.y", "2"}}}}});
    fs::create_symlink("text link 2" + mark_, tree / "s/docs/link");
    fs::rename(tree / "s/docs/named", tree / "s/docs/renamed");
  }
  void editTarget() {
    const std::string side = kind_.type == JobType::kSyncWithConflicts ? "t" : "t/docs";
    for (const char* path : {"d/e/deep", "same"}) fs::remove(tree / (side + "/" + path));
    for (const char* path : {"conflict", "changed", "other", "d/e/there"})
      put(side + "/" + path, std::string(path) + " 3");
  }
  [[nodiscard]] Side side(const std::string& root) const {
    Side found;
    if (!fs::is_directory(root)) return found;
    for (auto at = fs::recursive_directory_iterator(root); at != fs::end(at); ++at) {
      const std::string name = at->path().filename();
      const bool isOurs = whyNotCopied(name) != nullptr || isTemporaryName(name) || name == "Revision" ||
                          name.starts_with("earlier-version") || isInfoFileName(name);
      if (isOurs && at->is_directory()) at.disable_recursion_pending();
      if (!isOurs) found[at->path().string().substr(root.size())] = summaryOf(*at, mark_);
    }
    return found;
  }

  Kind kind_;
  QUORVELPREFERENCEINFOtag_CopyFileObjectPart info_;
  RunMemory memory_;
  std::string mark_ = " " + fs::path(tree.path()).filename().string();
  std::int64_t date_ = 1'000'000'000;
  NotificationCenter center_;
  RecordingDialogs dialogs_;
  RecordingImages images_;
  Clock& clock_ = systemClock();
};

}  // namespace lumisk::test
