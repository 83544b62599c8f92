// Every call that a run makes goes wrong once, in turn, in every way in which it can: what a run leaves then is judged,
// and so is what the next one makes of it.
//
// As it stands, every few calls meet one error each. With LUMISK_SWEEP=each every call does, with LUMISK_SWEEP=all
// every call meets all its errors. LUMISK_SWEEP_CASE="kind fault call error" has only the one that a failure named.

#include <cerrno>
#include <cstring>

#include "engine/restore.h"
#include "engine/swept_job.h"

namespace lumisk::test {
namespace {

enum class Fault {
  kOnce,      // one call fails
  kShort,     // one call reads or writes a single byte
  kDiskFull,  // from there on nothing can be added to any disk
  kReadOnly,  // from there on nothing can be changed
  kCrash      // from there on nothing happens any more, and nothing of the run is remembered
};
constexpr const char* kFaultNames[] = {"once", "short", "full", "readonly", "crash"};

bool isTransfer(FileCall call) {
  return call == FileCall::kRead || call == FileCall::kWrite || call == FileCall::kCopyRange;
}

bool isAddition(FileCall call) {
  static const std::set<FileCall> kAdditions{
      FileCall::kMakeFolder, FileCall::kCreateFile, FileCall::kWrite,    FileCall::kCopyRange, FileCall::kCloneFile,
      FileCall::kLink,       FileCall::kMakeLink,   FileCall::kRename,   FileCall::kExchange,  FileCall::kSetAttribute,
      FileCall::kTruncate,   FileCall::kSyncFile,   FileCall::kStartSync};
  return kAdditions.count(call) > 0;
}

bool isChange(FileCall call) {
  static const std::set<FileCall> kChanges{
      FileCall::kRemoveFolder,       FileCall::kRemoveFile,    FileCall::kSetOwner,        FileCall::kSetMode,
      FileCall::kSetModified,        FileCall::kSetLinkOwner,  FileCall::kSetLinkModified, FileCall::kRemoveAttribute,
      FileCall::kOpenFileForWriting, FileCall::kSyncFileSystem};
  return isAddition(call) || kChanges.count(call) > 0;
}

const std::vector<int>& errorsOf(FileCall call) {
  using enum FileCall;
  struct Kind {
    std::set<FileCall> calls;
    std::vector<int> errors;
  };
  static const std::vector<Kind> kKinds{
      {{kOpenRoot, kOpenFolder, kOpenParent, kOpenFile, kDuplicate},
       {EIO, EACCES, ESTALE, EMFILE, ENAMETOOLONG, ENOTCONN}},
      {{kMakeFolder, kCreateFile, kOpenFileForWriting, kMakeLink},
       {ENOSPC, EIO, EACCES, EDQUOT, EROFS, ENAMETOOLONG, ESTALE}},
      {{kRename, kExchange, kLink}, {EXDEV, ENOSPC, EIO, EPERM, EACCES, EDQUOT, EROFS, EMLINK, EBUSY, ESTALE}},
      {{kWrite, kTruncate, kCopyRange, kCloneFile}, {ENOSPC, EIO, EDQUOT, EINTR, EFBIG, EXDEV}},
      {{kClose, kStartSync, kSyncFile, kSyncFileSystem}, {EIO, ENOSPC, EDQUOT, EINTR}},
      {{kSetOwner, kSetMode, kSetModified, kSetLinkOwner, kSetLinkModified, kRemoveAttribute},
       {EPERM, EIO, EROFS, EOPNOTSUPP}},
      {{kSetAttribute, kRemoveFile, kRemoveFolder}, {EACCES, EIO, EROFS, EBUSY}},
      {{kLockExclusively}, {EWOULDBLOCK, ENOLCK, EINTR}}};
  static const std::vector<int> kLooking{EIO, EACCES, ESTALE, EINTR, ENOMEM};
  for (const auto& [calls, errors] : kKinds)
    if (calls.count(call) > 0) return errors;
  return kLooking;
}

// FileCalls of which the nth, or all from there on, go wrong; none where it is 0.
class SweptCalls : public FaultyFileCalls {
 public:
  SweptCalls(Fault fault, int nth, std::size_t choice) : fault_(fault), nth_(nth), choice_(choice) {
    if (nth > 0) judge([this](const Made& made) { return verdict(made); });
  }
  [[nodiscard]] const std::string& met() const { return met_; }  // the call that went wrong first

  Result<std::size_t> read(int file, std::span<std::byte> buffer) override {
    return FaultyFileCalls::read(file, buffer.first(allowed(buffer.size())));
  }
  Result<std::size_t> write(int file, std::span<const std::byte> bytes) override {
    return FaultyFileCalls::write(file, bytes.first(allowed(bytes.size())));
  }
  Result<std::size_t> copyRange(int from, int to, std::size_t size) override {
    return FaultyFileCalls::copyRange(from, to, allowed(size));
  }

 private:
  int verdict(const Made& made) {
    const int number = ++calls_;
    if (number < nth_ || fault_ == Fault::kShort) return 0;
    const int code = errorFor(made.call, number == nth_);
    if (code != 0 && met_.empty())
      met_ = std::to_string(static_cast<int>(made.call)) + " of \"" + made.name + "\": " + std::strerror(code);
    return code;
  }
  [[nodiscard]] int errorFor(FileCall call, bool isTheOne) const {
    switch (fault_) {
      case Fault::kOnce:
        return isTheOne ? errorsOf(call)[choice_ % errorsOf(call).size()] : 0;
      case Fault::kDiskFull:
        return isAddition(call) ? ENOSPC : 0;
      case Fault::kReadOnly:
        return isChange(call) ? EROFS : 0;
      default:
        return EIO;
    }
  }
  std::size_t allowed(std::size_t size) const {
    return fault_ == Fault::kShort && calls_ + 1 == nth_ ? std::min<std::size_t>(size, 1) : size;
  }

  Fault fault_;
  int nth_;
  std::size_t choice_;
  std::atomic<int> calls_{0};
  std::string met_;
};

std::size_t openDescriptors() {
  return static_cast<std::size_t>(std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator{}));
}

// What a kind of job comes to where nothing fails.
struct Reference {
  std::vector<FileCall> calls;
  Side sourceBefore, targetBefore, source, target;
  std::set<std::string> lost;  // by the run as it is meant

  explicit Reference(const Kind& kind) {
    SweptJob job(kind);
    sourceBefore = job.source();
    targetBefore = job.target();
    const auto texts = job.texts();
    SweptCalls files(Fault::kOnce, 0, 0);
    EXPECT_TRUE(job.run(files).completed) << job.log;
    for (const auto& made : files.made()) calls.push_back(made.call);
    EXPECT_TRUE(job.runClean().completed) << job.log;
    source = job.source();
    target = job.target();
    const auto after = job.texts();
    std::set_difference(texts.begin(), texts.end(), after.begin(), after.end(), std::inserter(lost, lost.end()));
    if (isSync(kind.type)) {
      EXPECT_EQ(source, target);
    }
  }
};

struct Case {
  Fault fault;
  int nth;
  std::size_t choice;
};

class Sweep {
 public:
  explicit Sweep(const Kind& kind) : kind_(kind), reference_(kind) {}

  [[nodiscard]] const std::vector<FileCall>& calls() const { return reference_.calls; }
  // Says what is wrong; nothing is well.
  std::string check(const Case& one) {
    const std::size_t descriptors = openDescriptors();
    wrong_.clear();
    {
      SweptJob job(kind_);
      before_ = job.texts();
      SweptCalls files(one.fault, one.nth, one.choice);
      const RunReport report = job.run(files, one.fault == Fault::kCrash);
      met_ = files.met();
      isLossy_ = report.counts.losses > 0;
      log_ = job.log;
      judgeRun(job, report, one.fault == Fault::kCrash);
      judgeNext(job);
    }
    if (openDescriptors() != descriptors) wrong("descriptors are left open");
    return wrong_.empty() ? wrong_ : wrong_ + "\n  met: " + met_ + "\n" + log_;
  }

 private:
  void wrong(const std::string& text) { wrong_ += "\n  " + text; }

  void judgeRun(const SweptJob& job, const RunReport& report, bool isCrash) {
    const bool isReported = report.refused || report.sourceProblem || report.targetProblem ||
                            report.counts.errors > 0 || report.held || report.errorCode != RunError::kNone;
    if (!isCrash && report.completed == isReported) wrong("neither completed nor an error");
    judgeTexts(job, "after the run");
    judgeSide("source", job.source(), reference_.sourceBefore, reference_.targetBefore, reference_.source);
    judgeSide("target", job.target(), reference_.targetBefore, reference_.sourceBefore, reference_.target);
    if (!report.completed || isCrash) return;
    if (!isAsWanted(job.target(), reference_.target))
      wrong("completed, but the target is not as it should be:" + difference(job.target(), reference_.target));
  }

  // Nothing is gone that the run as it is meant would not remove.
  void judgeTexts(const SweptJob& job, const char* when) {
    const auto now = job.texts();
    for (const std::string& text : before_)
      if (now.count(text) == 0 && reference_.lost.count(text) == 0)
        wrong(std::string(when) + " lost: " + text.substr(0, 60));
  }

  // Each entry is a whole version of before or as it should be, and none is missing that should be there; but a folder
  // that a file replaces is moved away first.
  void judgeSide(const char* name, const Side& now, const Side& before, const Side& opposite, const Side& wanted) {
    for (const auto& [path, what] : now)
      if (!has(before, path, what) && !has(wanted, path, what) && !(isSync(kind_.type) && has(opposite, path, what)))
        wrong(std::string(name) + " has " + path + " as \"" + what + "\"");
    for (const auto& [path, what] : before)
      if (now.count(path) == 0 && wanted.count(path) > 0 && (what == "folder") == (wanted.at(path) == "folder"))
        wrong(std::string(name) + " has lost " + path);
  }

  [[nodiscard]] bool has(const Side& side, const std::string& path, const std::string& what) const {
    const auto found = side.find(path);
    return found != side.end() && essence(found->second) == essence(what);
  }
  // What a target that refuses permissions cannot keep is counted as a loss.
  [[nodiscard]] std::string essence(const std::string& what) const {
    return isLossy_ && what != "folder" && !what.starts_with("-> ") ? what.substr(0, what.rfind(' ')) : what;
  }
  [[nodiscard]] bool isIn(const Side& side, const Side& other) const {
    return std::all_of(side.begin(), side.end(), [&](const auto& one) { return has(other, one.first, one.second); });
  }

  // The next runs, with nothing in their way, bring all to where it should be.
  void judgeNext(SweptJob& job) {
    bool isDone = false;
    for (int runs = 0; runs < 3 && !isDone; ++runs) {
      const bool completed = job.runClean().completed;
      isDone = completed && isAsWanted(job.source(), reference_.source) && isAsWanted(job.target(), reference_.target);
      if (!completed) log_ += job.log;
    }
    if (!isDone)
      wrong("the next runs do not converge: source" + difference(job.source(), reference_.source) + " target" +
            difference(job.target(), reference_.target));
    judgeTexts(job, "after the next run");
    // One that shares its file with a name that this run has changed counts as under way until the next.
    if (!job.temporaries().empty()) job.runClean();
    for (const std::string& path : job.temporaries()) wrong("left " + path);
  }

  // What was to be deleted on both sides of a two-way job may have come back, on both.
  [[nodiscard]] bool isAsWanted(const Side& now, const Side& wanted) const {
    if (!isIn(wanted, now)) return false;
    if (!isSync(kind_.type)) return isIn(now, wanted);
    return std::all_of(now.begin(), now.end(), [&](const auto& entry) {
      return wanted.count(entry.first) > 0 || reference_.sourceBefore.count(entry.first) > 0 ||
             reference_.targetBefore.count(entry.first) > 0;
    });
  }

  static std::string difference(const Side& now, const Side& wanted) {
    std::string text;
    for (const auto& [path, what] : now)
      if (const auto found = wanted.find(path); found == wanted.end() || found->second != what)
        text += "\n    " + path + " = " + what;
    for (const auto& [path, what] : wanted)
      if (const auto found = now.find(path); found == now.end() || found->second != what)
        text += "\n    " + path + " not " + what;
    return text;
  }

  Kind kind_;
  Reference reference_;
  std::set<std::string> before_;
  std::string wrong_, met_, log_;
  bool isLossy_ = false;
};

enum class Thoroughness { kSample, kEach, kAll };

Thoroughness thoroughness() {
  if (std::getenv("LUMISK_SWEEP_CASE")) return Thoroughness::kAll;
  const char* const wish = std::getenv("LUMISK_SWEEP");
  if (!wish) return Thoroughness::kSample;
  return wish == std::string("all") ? Thoroughness::kAll : Thoroughness::kEach;
}

bool isMeant(Fault fault, FileCall call) {
  if (fault == Fault::kOnce) return true;
  if (fault == Fault::kShort) return isTransfer(call);
  return fault == Fault::kDiskFull ? isAddition(call) : isChange(call);
}

// `phase`: so that the kinds of jobs do not all leave out the same. Samples are at least `apart` of its calls apart.
std::vector<Case> casesOf(Fault fault, const std::vector<FileCall>& calls, std::size_t phase, std::size_t apart = 0) {
  std::vector<Case> cases;
  const Thoroughness wish = thoroughness();
  const std::size_t stride = std::max<std::size_t>(fault == Fault::kOnce ? 11 : 5, apart);
  std::size_t found = phase;
  for (std::size_t i = 0; i < calls.size(); ++i) {
    if (!isMeant(fault, calls[i])) continue;
    const int nth = static_cast<int>(i) + 1;
    const std::size_t errors = fault == Fault::kOnce ? errorsOf(calls[i]).size() : 1;
    if (wish == Thoroughness::kSample && found++ % stride != 0) continue;
    const std::size_t first = wish == Thoroughness::kAll ? 0 : i % errors;
    const std::size_t end = wish == Thoroughness::kAll ? errors : first + 1;
    for (std::size_t choice = first; choice < end; ++choice) cases.push_back({fault, nth, choice});
  }
  return cases;
}

class FaultSweep : public ::testing::TestWithParam<Kind> {
 protected:
  void sweep(Fault fault) {
    preferMemory();
    Sweep sweep(GetParam());
    const char* only = std::getenv("LUMISK_SWEEP_CASE");
    int failures = 0;
    int done = 0;
    const std::size_t apart = GetParam().threads > 0 ? 61 : 0;
    for (const Case& one : casesOf(fault, sweep.calls(), std::strlen(GetParam().name), apart)) {
      const std::string name = std::string(GetParam().name) + " " + kFaultNames[static_cast<int>(fault)] + " " +
                               std::to_string(one.nth) + " " + std::to_string(one.choice);
      if (only && name != only) continue;
      const std::string wrong = sweep.check(one);
      ++done;
      if (wrong.empty()) continue;
      ADD_FAILURE() << name << wrong;
      if (++failures == 8) break;
    }
    RecordProperty("cases", done);
    EXPECT_TRUE(only || done > 0);
  }
};

const Kind kKinds[] = {
    {.name = "First", .isFirstRun = true},
    {.name = "Revisions", .revisions = RevisionMethod::kUnlimited},
    {.name = "NoTrash", .trash = false},
    {.name = "SyncRevisions", .type = JobType::kSyncWithRevisions, .revisions = RevisionMethod::kUnlimited},
    {.name = "SyncConflicts", .type = JobType::kSyncWithConflicts, .trash = false},
    // What fails then depends on which thread was faster.
    {.name = "FirstWithThreads", .isFirstRun = true, .threads = 3},
    {.name = "RevisionsWithThreads", .revisions = RevisionMethod::kUnlimited, .threads = 3},
    {.name = "SyncConflictsWithThreads", .type = JobType::kSyncWithConflicts, .threads = 3},
};
INSTANTIATE_TEST_SUITE_P(Kinds, FaultSweep, ::testing::ValuesIn(kKinds),
                         [](const auto& kind) { return std::string(kind.param.name); });

TEST_P(FaultSweep, AnyCallThatFailsOnce_LosesNothing) {
  sweep(Fault::kOnce);
}
TEST_P(FaultSweep, AnyShortTransfer_LosesNothing) {
  sweep(Fault::kShort);
}
TEST_P(FaultSweep, DiskThatIsFullFromAnyCallOn_LosesNothing) {
  sweep(Fault::kDiskFull);
}
TEST_P(FaultSweep, DiskThatIsReadOnlyFromAnyCallOn_LosesNothing) {
  sweep(Fault::kReadOnly);
}
TEST_P(FaultSweep, CrashAtAnyCall_LosesNothing) {
  sweep(Fault::kCrash);
}

// A version of a folder that is put back over what stands there.
class RestoredFolder {
 public:
  RestoredFolder() {
    const auto text = [this](const std::string& name) { return "text " + name + mark_; };
    makeTree(tree.path(),
             {{"t", Dir{{"docs", Dir{{"same", File{text("same"), 0644, 1000}},
                                     {"a", File{text("a 1"), 0600, 1000, 7, {{"user.x", "1"}}}},
                                     {"d", Dir{{"b", File{text("b 1"), 0644, 2000}}}},
                                     {"file", File{text("file 1"), 0644, 2000}},
                                     {"folder", Dir{{"x", File{text("x 1"), 0644, 2000}}}},
                                     {"l", Link{text("l 1")}},
                                     {"new", Dir{{"n", File{text("n 1"), 0644, 2000}}}}}}}},
              {"docs", Dir{{"same", File{text("same"), 0644, 1000}},
                           {"a", File{text("a 2"), 0644, 9000}},
                           {"d", Dir{{"b", File{text("b 2"), 0644, 9000}}, {"own", File{text("own"), 0644, 3000}}}},
                           {"file", Dir{{"y", File{text("y 2"), 0644, 3000}}}},
                           {"folder", File{text("folder 2"), 0644, 9000}},
                           {"l", Link{text("l 2")}}}},
              {"home", Dir{}}});
    version_.path = tree / "t/docs";
    version_.place = {};
    version_.place.target = tree / "t";
    version_.place.copy = version_.path;
    version_.place.source = version_.place.original = tree / "docs";
    const auto target = realFileCalls().openRoot(tree / "t");
    version_.status = realFileCalls().status(target->get(), "docs").value();
  }
  // Whether it says that all is back.
  bool restore(FileCalls& files) {
    const auto report =
        restoreVersion({files, systemClock(), log_, dialogs_, nullptr}, version_, tree / "docs", tree / "docs");
    return report && report->counts.errors == 0;
  }
  bool restoreCleanly() {
    FaultyFileCalls files;
    return restore(files);
  }
  // What the version and the place hold, by path below the tree.
  [[nodiscard]] Side look() const {
    Side found;
    for (const char* root : {"t", "docs"})
      for (const auto& entry : fs::recursive_directory_iterator(tree / root))
        if (!isTemporaryName(entry.path().filename()))  // one that cannot be removed does no harm
          found[entry.path().string().substr(tree.path().size())] = withoutMode(summaryOf(entry, mark_));
    return found;
  }
  [[nodiscard]] std::set<std::string> texts() const { return textsOf(tree, mark_); }

  TempTree tree;

 private:
  // A place that refuses permissions is no failure.
  static std::string withoutMode(const std::string& what) {
    return what == "folder" || what.starts_with("-> ") ? what : what.substr(0, what.rfind(' '));
  }
  std::string mark_ = " " + fs::path(tree.path()).filename().string();
  OwnHome home_{tree / "home"};
  Version version_;
  RecordingJobLog log_;
  RecordingDialogs dialogs_;
};

std::string checkRestore(const Case& one, const Side& wanted) {
  RestoredFolder folder;
  const auto texts = folder.texts();
  const Side before = folder.look();
  SweptCalls files(one.fault, one.nth, one.choice);
  const bool isDone = folder.restore(files);
  std::string wrong;
  const auto judge = [&](const char* when) {
    const auto left = folder.texts();
    for (const std::string& text : texts)
      if (text.starts_with("text") && left.count(text) == 0) wrong += std::string("\n  lost ") + when + ": " + text;
    for (const auto& [path, what] : folder.look()) {
      const bool isOld = before.count(path) > 0 && before.at(path) == what;
      const bool isNew = wanted.count(path) > 0 && wanted.at(path) == what;
      if (!isOld && !isNew && path.find("/.lumisk-") == std::string::npos &&
          path.find("earlier-v") == std::string::npos)
        wrong += "\n  " + path + " is " + what;
    }
  };
  judge("at once");
  if (isDone && folder.look() != wanted) wrong += "\n  said to be done, and is not";
  if (!folder.restoreCleanly()) wrong += "\n  cannot be restored then";
  judge("in the end");
  const Side now = folder.look();
  for (const auto& [path, what] : wanted)
    if (now.count(path) == 0 || now.at(path) != what) wrong += "\n  is not back: " + path;
  return wrong.empty() ? wrong : wrong + "\n  met: " + files.met();
}

TEST(RestoreSweep, AnyCallThatGoesWrong_LosesNothing) {
  preferMemory();
  std::vector<FileCall> calls;
  Side wanted;
  {
    RestoredFolder folder;
    SweptCalls files(Fault::kOnce, 0, 0);
    ASSERT_TRUE(folder.restore(files));
    for (const auto& made : files.made()) calls.push_back(made.call);
    wanted = folder.look();
  }
  const std::size_t descriptors = openDescriptors();
  int failures = 0;
  for (const Fault fault : {Fault::kOnce, Fault::kShort, Fault::kDiskFull, Fault::kReadOnly, Fault::kCrash})
    for (const Case& one : casesOf(fault, calls, 0)) {
      const std::string wrong = checkRestore(one, wanted);
      if (wrong.empty() || ++failures > 8) continue;
      ADD_FAILURE() << kFaultNames[static_cast<int>(fault)] << " " << one.nth << " " << one.choice << wrong;
    }
  EXPECT_EQ(openDescriptors(), descriptors);
}

}  // namespace
}  // namespace lumisk::test
