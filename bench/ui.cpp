// What the windows cost: `bench_ui [JOBS] [ENTRIES]`, without a screen. The list with JOBS jobs (500), ten of them
// running, is scrolled from end to end and follows progress; then a job with ENTRIES files (100,000) runs twice in this
// process while its progress is shown. All times are processor time of the main thread, so that other work on the
// machine is no part of them.
#include <fmt/format.h>
#include <sys/stat.h>

#include <QApplication>
#include <QEventLoop>
#include <QScrollBar>
#include <QTableView>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <vector>

#include "platform/real_file_calls.h"
#include "presenters/local_jobs_board.h"
#include "support/fake_jobs_board.h"
#include "support/home_fixture.h"
#include "support/silent_dialogs.h"
#include "ui/jobs_model.h"
#include "ui/local_desktop.h"
#include "ui/main_window.h"
#include "ui/theme.h"

namespace lumisk::test {
namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

double processorMilliseconds() {
  timespec spent{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &spent);
  return static_cast<double>(spent.tv_sec) * 1e3 + static_cast<double>(spent.tv_nsec) / 1e6;
}

template <class Work>
double timed(Work work) {
  const double before = processorMilliseconds();
  work();
  return processorMilliseconds() - before;
}

struct Times {
  std::vector<double> all;
  void print(const char* what) {
    std::sort(all.begin(), all.end());
    fmt::print("{}: median {:.1f} ms, worst {:.1f} ms, {} times\n", what, all[all.size() / 2], all.back(), all.size());
  }
};

std::vector<BoardJob> manyJobs(int count) {
  std::vector<BoardJob> jobs;
  for (int i = 0; i < count; ++i) {
    QUORVELPREFERENCEINFO job = newJobDefaults(systemClock().now());
    job.name = fmt::format("Job {} of a person with many", i);
    job.uuidString = fmt::format("uuid-{}", i);
    job.sourcePaths = {fmt::format("/home/anna/Documents/of the year {}", i)};
    job.targetPaths = {fmt::format("/media/anna/Backup/Documents {}", i)};
    job.scheduling_method = SchedulingMethod::kTimer;
    job.lastRanTime = job.jobModifyTime = storedDate(systemClock().now());
    jobs.push_back({job.uuidString, jobToDictionary(job), i % (count / 10) == 0, {}});
  }
  return jobs;
}

void advanceRuns(FakeJobsBoard& board, int step) {
  for (BoardJob& job : board.list) {
    if (job.running)
      job.progress = JobProgressMessage::messageWithJobName("", fmt::format("file {}.txt", step), step % 100, 0);
  }
  board.observers.tell(BoardChange::kProgress);
}

void measureList(QApplication& application, MainLoop& loop, int jobs) {
  FakeJobsBoard board;
  board.list = manyJobs(jobs);
  SilentDialogs dialogs;
  WindowSet windows(board, systemClock(), realFileCalls(), loop, dialogs);
  addMainWindow(windows);
  QWidget* window = nullptr;
  fmt::print("open with {} jobs: {:.1f} ms\n", jobs, timed([&] {
               window = windows.showMain();
               application.processEvents();
             }));
  QTableView& table = static_cast<MainWindow*>(window)->table();
  Times scrolled, repainted;
  for (int y = 0; y <= table.verticalScrollBar()->maximum(); y += 97) {
    scrolled.all.push_back(timed([&] {
      table.verticalScrollBar()->setValue(y);
      application.processEvents();
    }));
  }
  scrolled.print("scroll by 97 pixels and paint");
  for (int i = 0; i < 50; ++i) repainted.all.push_back(timed([&] { table.viewport()->repaint(); }));
  repainted.print("paint the whole list");
  Times sorted;
  for (int i = 0; i < 10; ++i) {
    sorted.all.push_back(timed([&] {
      table.sortByColumn(i % kJobColumns, Qt::AscendingOrder);
      application.processEvents();
    }));
  }
  sorted.print("sort");
  table.verticalScrollBar()->setValue(0);
  const double before = processorMilliseconds();
  const auto begin = std::chrono::steady_clock::now();
  int step = 0;
  QEventLoop waiting;
  QTimer telling;
  QObject::connect(&telling, &QTimer::timeout, [&] { advanceRuns(board, ++step); });
  telling.start(5);
  QTimer::singleShot(10'000, &waiting, &QEventLoop::quit);
  waiting.exec();
  const double wall = Milliseconds(std::chrono::steady_clock::now() - begin).count();
  fmt::print("ten runs, {} messages in {:.0f} s: {:.2f}% of a core\n", step * 10, wall / 1e3,
             100 * (processorMilliseconds() - before) / wall);
}

void makeFiles(const std::string& folder, int count) {
  constexpr int kInOneFolder = 200;
  for (int i = 0; i < count; ++i) {
    const std::string below = fmt::format("{}/{}", folder, i / kInOneFolder);
    if (i % kInOneFolder == 0) ::mkdir(below.c_str(), 0755);
    std::ofstream(fmt::format("{}/{}.txt", below, i)) << i;
  }
}

void measureRun(const char* what, LocalDesktop& desktop, int entries) {
  const auto index = 0;
  const double before = processorMilliseconds();
  const auto begin = std::chrono::steady_clock::now();
  desktop.app().startNowButtonActionWithJobIndex(index);
  const auto ended = [&] { return desktop.app().control().object(index)->endedRuns().number; };
  const auto number = ended();
  QEventLoop waiting;
  QTimer looking;
  QObject::connect(&looking, &QTimer::timeout, [&] {
    if (ended() != number) waiting.quit();
  });
  looking.start(50);
  waiting.exec();
  const double wall = Milliseconds(std::chrono::steady_clock::now() - begin).count();
  const double spent = processorMilliseconds() - before;
  fmt::print("{} of {} entries in {:.1f} s: the interface took {:.0f} ms, {:.2f}% of a core\n", what, entries,
             wall / 1e3, spent, 100 * spent / wall);
}

void measureRuns(QApplication& application, MainLoop& loop, int entries) {
  TempTree tree{{"source", Dir{}}, {"target", Dir{}}};
  makeFiles(tree / "source", entries);
  SilentDialogs dialogs;
  LocalDesktop desktop(loop, dialogs, systemClock(), realFileCalls());
  LocalJobsBoard board(desktop.app(), systemClock());
  if (!desktop.app().applicationDidFinishLaunching()) std::abort();
  QUORVELPREFERENCEINFO job = newJobDefaults(systemClock().now());
  job.uuidString = "uuid";
  job.name = "many";
  job.sourcePaths = {tree / "source"};
  job.targetPaths = {tree / "target"};
  job.scheduling_method = SchedulingMethod::kNone;
  job.bDisplayWarning = false;
  if (board.add(job) || board.setPreference("SGCopyPace", "full")) std::abort();
  WindowSet windows(board, systemClock(), realFileCalls(), loop, dialogs);
  addAllWindows(windows);
  windows.showMain();
  windows.showMiniPanel();
  application.processEvents();
  measureRun("first copy", desktop, entries);
  measureRun("unchanged run", desktop, entries);
}

}  // namespace
}  // namespace lumisk::test

int main(int count, char** arguments) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  const int jobs = count > 1 ? std::atoi(arguments[1]) : 500;
  const int entries = count > 2 ? std::atoi(arguments[2]) : 100'000;
  using namespace lumisk;
  test::TempTree home{{"Library", test::Dir{{"Preferences", test::Dir{}}}}};
  test::ScopedVariable homeVariable("LUMISK_HOME", home.path());
  QApplication application(count, arguments);
  theme::apply(application, theme::Appearance::kLight);
  MainLoop loop;
  test::measureList(application, loop, jobs);
  test::measureRuns(application, loop, entries);
}
