// Watching a tree of folders: how long the set-up takes and what it costs in memory, against the least that it could
// (a bare recursive set-up of inotify in the same run), and how long after a file was saved its folder is told.
// Usage: bench_watch FOLDER [FOLDERS]        makes and removes FOLDER

#include <dirent.h>
#include <fcntl.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "platform/file_event_stream.h"

namespace {

namespace fs = std::filesystem;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr int kRounds = 5;

void makeFolders(const std::string& top, int count) {
  for (int made = 0; made < count; ++made) {
    const std::string folder = top + "/" + std::to_string(made / 10000) + "/" + std::to_string(made / 100 % 100) +
                               "/folder-" + std::to_string(made);
    fs::create_directories(folder);
    std::ofstream(folder + "/file") << made;
  }
}

// Opened, watched and listed by path, nothing remembered.
void bareSetUp(int instance, const std::string& folder) {
  ::inotify_add_watch(instance, folder.c_str(), IN_CREATE | IN_DELETE | IN_MOVE | IN_CLOSE_WRITE | IN_ATTRIB);
  DIR* const listing = ::opendir(folder.c_str());
  if (!listing) return;
  while (const dirent* entry = ::readdir(listing)) {
    const std::string name = entry->d_name;
    if (entry->d_type == DT_DIR && name != "." && name != "..") bareSetUp(instance, folder + "/" + name);
  }
  ::closedir(listing);
}

double milliseconds(const std::function<void()>& work) {
  const auto begin = std::chrono::steady_clock::now();
  work();
  return Milliseconds(std::chrono::steady_clock::now() - begin).count();
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

long residentBytes() {
  std::ifstream file("/proc/self/statm");
  long size = 0, resident = 0;
  file >> size >> resident;
  return resident * ::sysconf(_SC_PAGESIZE);
}

struct Watch {
  explicit Watch(const std::string& top, lumisk::FileEventOptions options = {}) {
    lumisk::FileEventObserver observer;
    observer.eventCallback = [this](const std::vector<std::string>&) {
      if (!isTold.exchange(true)) told.set_value();
    };
    observer.onStanding = [this] { standing.set_value(); };
    stream = std::make_unique<lumisk::FileEventStream>(streams, std::vector<lumisk::WatchedRoot>{{top, true}},
                                                       std::move(observer), std::move(options));
    standing.get_future().wait();
  }
  std::promise<void> standing, told;
  std::atomic<bool> isTold{false};
  lumisk::FileEventStreams streams;
  std::unique_ptr<lumisk::FileEventStream> stream;
};

}  // namespace

int main(int count, char** arguments) {
  if (count < 2) return 2;
  const std::string top = arguments[1];
  makeFolders(top, count > 2 ? std::atoi(arguments[2]) : 100000);
  std::vector<double> bare, ours;
  const long before = residentBytes();
  auto kept = std::make_unique<Watch>(top);
  const auto counts = kept->stream->counts();
  const long bytes = residentBytes() - before;
  kept.reset();
  for (int round = 0; round < kRounds; ++round) {
    const int instance = ::inotify_init1(IN_CLOEXEC);
    bare.push_back(milliseconds([&] { bareSetUp(instance, top); }));
    ::close(instance);
    std::unique_ptr<Watch> watch;
    ours.push_back(milliseconds([&] { watch = std::make_unique<Watch>(top); }));
  }
  lumisk::FileEventOptions options;
  options.latency = std::chrono::nanoseconds(0);
  Watch watch(top, options);
  const double latency = milliseconds([&] {
    std::ofstream(top + "/0/0/folder-1/file") << "saved";
    watch.told.get_future().wait();
  });
  std::printf("folders %lu watched, %lu rescanned\n", static_cast<unsigned long>(counts.watched),
              static_cast<unsigned long>(counts.rescanned));
  std::printf("set-up %.0f ms, bare %.0f ms, ratio %.2f (medians of %d)\n", median(ours), median(bare),
              median(ours) / median(bare), kRounds);
  std::printf("memory %.0f bytes a folder\n", static_cast<double>(bytes) / static_cast<double>(counts.watched));
  std::printf("told %.1f ms after the save, besides the stream's latency\n", latency);
  std::fflush(stdout);
  fs::remove_all(top);
  std::_Exit(0);  // the last watch may be told once more
}
