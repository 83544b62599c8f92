#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>

#include "engine/copy_rule.h"
#include "engine/editing_session.h"
#include "engine/info_files.h"
#include "engine/listening_fixture.h"
#include "support/faulty_file_calls.h"

// A recorded session on both sides of a real-time two-way job, replayed with no more waiting than the file system's
// clock needs to move on.

namespace lumisk::test {
namespace {

namespace fs = std::filesystem;
using std::chrono::nanoseconds;

nanoseconds realNow() {
  return std::chrono::duration_cast<nanoseconds>(std::chrono::system_clock::now().time_since_epoch());
}
nanoseconds toNanoseconds(FileTime time) {
  return std::chrono::seconds(time.seconds) + nanoseconds(time.nanoseconds);
}
FileTime toFileTime(nanoseconds time) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
  return {seconds.count(), static_cast<std::uint32_t>((time - seconds).count())};
}

// Real calls whose time leaps forward, so that two hours go by within seconds and dates, change times and the clock
// still agree.
class LeapingCalls : public FaultyFileCalls {
 public:
  // Once the file system's clock has moved on: what was stamped before the leap is dated before it.
  void leap(nanoseconds by) {
    const nanoseconds now = realNow();
    waitForTick(scratch_.path());
    const std::lock_guard lock(mutex_);
    leaps_.push_back({now, leaps_.back().ahead + by});
  }
  nanoseconds now() const { return fromReal(realNow()); }

  Result<FileStatus> status(int folder, const std::string& name) override {
    return dated(FaultyFileCalls::status(folder, name));
  }
  Result<FileStatus> statusOf(int descriptor) override { return dated(FaultyFileCalls::statusOf(descriptor)); }
  Result<void> setModified(int descriptor, FileTime modified) override {
    return FaultyFileCalls::setModified(descriptor, toReal(modified));
  }
  Result<void> setLinkModified(int folder, const std::string& name, FileTime modified) override {
    return FaultyFileCalls::setLinkModified(folder, name, toReal(modified));
  }
  // Nothing here crashes.
  Result<void> startSync(int) override { return {}; }
  Result<void> syncFile(int) override { return {}; }
  Result<void> syncFileSystem(int) override { return {}; }

 private:
  struct Leap {
    nanoseconds after;  // real time
    nanoseconds ahead;
  };
  nanoseconds fromReal(nanoseconds real) const {
    const std::lock_guard lock(mutex_);
    auto last = leaps_.rbegin();
    while (last->after >= real) ++last;
    return real + last->ahead;
  }
  FileTime toReal(FileTime time) const {
    const std::lock_guard lock(mutex_);
    auto last = leaps_.rbegin();
    while (last->after + last->ahead >= toNanoseconds(time)) ++last;
    return toFileTime(toNanoseconds(time) - last->ahead);
  }
  Result<FileStatus> dated(Result<FileStatus> status) const {
    if (!status) return status;
    status->modified = toFileTime(fromReal(toNanoseconds(status->modified)));
    status->changed = toFileTime(fromReal(toNanoseconds(status->changed)));
    return status;
  }

  TempTree scratch_;
  mutable std::mutex mutex_;
  std::vector<Leap> leaps_{{nanoseconds::min(), nanoseconds(0)}};
};

struct SessionCalls {
  LeapingCalls calls;
};

class EditingSessionTest : private SessionCalls, public FolderListeningTest {
 protected:
  EditingSessionTest() : FolderListeningTest(calls) {
    f.job.jobType = JobType::kSyncWithConflicts;
    f.job.fileConflictType = ConflictChoice::kNewerWins;
    f.clock.advance(calls.now() - f.clock.now().time_since_epoch());
    f.clock.runs = [this, begin = calls.now()] { return calls.now() - begin; };
    for (const char* name : {"a.txt", "d"}) fs::remove_all(source(name));
    fs::create_directory(remains);
    start();
    before = look();
  }

  void replay(const std::string& path) {
    std::ifstream file(path);
    ASSERT_TRUE(file) << path;
    std::string line;
    for (int number = 1; std::getline(file, line) && !HasFatalFailure(); ++number) {
      SCOPED_TRACE("line " + std::to_string(number) + ": " + line);
      if (!line.empty() && line.front() != '#') follow(line, number);
    }
  }

  void follow(const std::string& line, int number) {
    std::istringstream words(line);
    std::string first;
    words >> first;
    if (first == "pause") {
      int seconds = 0;
      words >> seconds;
      calls.leap(std::chrono::seconds(seconds));
      letPassesRun();
      EXPECT_EQ(waiting, 0) << "nobody made the call that this was waiting for";
    } else if (first == "during") {
      words >> hookCall >> hookName;
    } else if (hookCall.empty()) {
      act(line, number);
    } else {
      ++waiting;
      calls.before(hookCalls().at(std::exchange(hookCall, {})),
                   [this, line, number] {
                     --waiting;
                     act(line, number);
                   },
                   {.name = hookName});
    }
  }

  void act(const std::string& line, int number) {
    std::istringstream words(line);
    std::string side, program;
    words >> side >> program;
    calls.leap(std::chrono::seconds(12 + number % 25));
    const std::string root = side.front() == 'L' ? f.tree / "source" : f.tree / "target";
    if (program == "lost") {
      words >> program;
      losers.insert(readFile(root + "/" + program));
      return;
    }
    const auto rest = [&] { return std::istringstream(line.substr(side.size())); };
    const auto hear = [&](const std::string& folder, const std::string& name) {
      ++steps;
      if (!options.isIgnored(folder, name)) told.insert(folder + "/");
    };
    const auto ignore = [](const std::string&, const std::string&) {};
    if (side != "E") {
      EXPECT_TRUE(Hand(root, number, hear).run(rest())) << line;
    }
    if (side.back() != '!') {
      EXPECT_TRUE(Hand(remains, number, ignore).run(rest())) << line;
    }
  }

  // Until nothing changes any more, what the passes write themselves included.
  void letPassesRun() {
    constexpr int kMost = 6;
    for (int count = 0; !told.empty(); ++count) {
      ASSERT_LT(count, kMost) << "passes without an end: " << *told.begin() << "\n" << f.log();
      const std::set<std::string> folders = std::exchange(told, {});
      const std::size_t runs = ends(false);
      before = look();
      pass({folders.begin(), folders.end()});
      ++passes;
      if (isHeld()) {  // a run of the whole job decides then
        EXPECT_TRUE(eventually([&] {
          sleeps.letGo();
          return ends(false) > runs;
        }));
      }
      hearWhatPassesWrote();
      calls.leap(std::chrono::seconds(3));
    }
    f.forget();
  }
  bool isHeld() {
    const std::string log = f.log();
    const bool held = log.find(kHeldText, logSeen) != std::string::npos;
    logSeen = log.size();
    return held;
  }

  // Entries with what a stream would tell of.
  using Look = std::map<std::pair<std::string, std::string>, std::string>;
  Look look() const {
    Look seen;
    for (const char* side : {"source", "target"})
      for (const auto& entry : fs::recursive_directory_iterator(f.tree / side)) {
        struct stat status {};
        ::lstat(entry.path().c_str(), &status);
        std::string& state = seen[{entry.path().parent_path(), entry.path().filename()}];
        state = std::to_string(status.st_ino);
        if (!S_ISDIR(status.st_mode))
          state += " " + std::to_string(status.st_ctim.tv_sec) + "." + std::to_string(status.st_ctim.tv_nsec);
      }
    return seen;
  }
  void hearWhatPassesWrote() {
    const Look after = look();
    const auto hear = [&](const auto& from, const auto& in) {
      for (const auto& [place, state] : from) {
        const auto found = in.find(place);
        if (found != in.end() && found->second == state) continue;
        if (!options.isIgnored(place.first, place.second)) told.insert(place.first + "/");
      }
    };
    hear(before, after);
    hear(after, before);
  }

  // Names, types and contents of what a side holds for its user.
  static std::map<std::string, std::string> contents(const std::string& side) {
    std::map<std::string, std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(side)) {
      const std::string name = entry.path().filename();
      if (isSkippedName(name) || isInfoFileName(name)) continue;
      std::string& what = found[entry.path().string().substr(side.size())];
      what = "folder";
      if (entry.is_symlink())
        what = "-> " + fs::read_symlink(entry.path()).string();
      else if (entry.is_regular_file())
        what = readFile(entry.path());
    }
    return found;
  }
  static std::string differences(const std::string& a, const std::string& b) {
    const auto inA = contents(a);
    const auto inB = contents(b);
    std::string text;
    for (const auto& [name, what] : inA)
      if (!inB.count(name) || inB.at(name) != what) text += "  in the first " + name + ": " + what + "\n";
    for (const auto& [name, what] : inB)
      if (!inA.count(name) || inA.at(name) != what) text += "  in the second " + name + ": " + what + "\n";
    return text;
  }
  std::set<std::string> textsInTrash() const {
    std::set<std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(f.home.path()))
      if (entry.is_regular_file() && entry.path().string().find("Trash") != std::string::npos)
        found.insert(readFile(entry.path()));
    return found;
  }
  static const std::map<std::string, FileCall>& hookCalls() {
    static const std::map<std::string, FileCall> kCalls{
        {"rename", FileCall::kRename}, {"exchange", FileCall::kExchange},     {"makeFolder", FileCall::kMakeFolder},
        {"any", FileCall::kAny},       {"listFolder", FileCall::kListFolder}, {"removeFile", FileCall::kRemoveFile},
        {"read", FileCall::kRead},     {"statusOf", FileCall::kStatusOf},     {"openFile", FileCall::kOpenFile}};
    return kCalls;
  }

  static constexpr const char* kHeldText = "held back";
  std::string remains = f.tree / "remains";  // what is to be on both sides at the end
  std::set<std::string> told;                // folders that nobody has looked at yet
  Look before;
  std::set<std::string> losers;
  std::string hookCall, hookName;
  std::atomic<int> waiting{0};
  std::size_t logSeen = 0;
  int steps = 0;
  int passes = 0;
};

TEST_F(EditingSessionTest, TwoHoursOnBothSides_EndWithBothEqual) {
  replay(LUMISK_EDITING_SESSION);
  RecordProperty("steps", steps);
  RecordProperty("passes", passes);
  f.stop();
  EXPECT_EQ(differences(f.tree / "source", f.tree / "target"), "");
  EXPECT_EQ(differences(remains, f.tree / "source"), "");
  EXPECT_EQ(losers.size(), 3U);
  const auto kept = textsInTrash();
  for (const std::string& loser : losers) EXPECT_TRUE(kept.count(loser)) << loser;
}

}  // namespace
}  // namespace lumisk::test
