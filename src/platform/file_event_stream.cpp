#include "platform/file_event_stream.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <future>
#include <map>
#include <mutex>
#include <set>
#include <thread>

#include "platform/folder_watcher.h"
#include "platform/root_looks.h"

namespace lumisk {
namespace {

using SteadyTime = std::chrono::steady_clock::time_point;

constexpr auto kBetweenReads = std::chrono::milliseconds(10);
constexpr std::size_t kMostFolders = 4096;  // of one call; more of them become the roots

// The folders that will be told at one time.
struct Batch {
  std::set<std::string> folders;
  SteadyTime due{};

  void add(const std::string& folder, SteadyTime now, std::chrono::nanoseconds latency) {
    if (folders.empty()) due = now + latency;
    folders.insert(folder);
  }
};

std::string withSlash(std::string folder) {
  if (folder.empty() || folder.back() != '/') folder += '/';
  return folder;
}

std::string limitText(const WatchedCounts& counts, std::chrono::nanoseconds interval) {
  return fmt::format(
      "the system watches {} folders and has no room for {} more, which are looked at every {} seconds instead; the "
      "setting fs.inotify.max_user_watches raises the limit (sysctl)",
      counts.watched, counts.rescanned, std::chrono::duration_cast<std::chrono::seconds>(interval).count());
}

}  // namespace

// All but the counts and what `observed` guards belongs to the loop's thread.
struct FileEventStream::State {
  // Calls the observer, unless the stream has ended. The loop's thread may hang in a folder's file system, so whoever
  // ends a stream waits for a call that is under way, and for nothing else.
  template <typename Call>
  void tell(const Call& call) {
    const std::lock_guard lock(observed);
    if (!hasEnded) call();
  }

  std::mutex observed;
  bool hasEnded = false;
  std::vector<WatchedRoot> roots;
  FileEventObserver observer;
  FileEventOptions options;
  Batch usual;
  Batch staysOpen;
  std::string lastFolder;  // the folder of the last usual change: bursts are mostly of one
  bool isStanding = false;
  bool isLimitTold = false;
  std::uint16_t id = 0;
  std::atomic<std::uint64_t> watched{0};
  std::atomic<std::uint64_t> rescanned{0};
};

class FileEventStreams::Loop : public FolderWatcherSink {
 public:
  explicit Loop(Settings settings)
      : settings_(std::move(settings)),
        wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
        watcher_(*this, settings_.addWatch, [this](const std::string& path) { looks_.ask(path); }),
        looks_(settings_.lookAtRoot,
               [this](const std::string& path, std::optional<FileIdentity> folder) {
                 post([this, path, folder] { watcher_.rootFound(path, folder); });
               }),
        thread_([this] { run(); }) {}
  ~Loop() override {
    perform([this] { isEnding_ = true; });
    thread_.join();
  }

  void add(std::shared_ptr<FileEventStream::State> stream) {
    post([this, stream = std::move(stream)] { begin(stream); });
  }
  void remove(const std::shared_ptr<FileEventStream::State>& stream) {
    {
      const std::lock_guard lock(stream->observed);
      stream->hasEnded = true;
    }
    post([this, stream] {
      watcher_.removeStream(stream->id);
      streams_.erase(stream->id);
    });
  }
  void overflow() {
    perform([this] { watcher_.restart(); });
  }

  void changed(std::uint16_t stream, const std::string& folder, Urgency urgency) override;
  bool isIgnored(std::uint16_t stream, const std::string& folder, std::string_view name) override {
    FileEventStream::State& state = *streams_.at(stream);
    bool isIgnored = false;
    if (state.options.isIgnored) state.tell([&] { isIgnored = state.options.isIgnored(folder, name); });
    return isIgnored;
  }

 private:
  void post(std::function<void()> command);
  void perform(const std::function<void()>& command);  // waits until it is done
  void runCommands();
  void begin(const std::shared_ptr<FileEventStream::State>& stream);

  void run();
  void wait(bool hasMore);
  [[nodiscard]] SteadyTime nextDue() const;
  void runTimers(SteadyTime now);
  void tell(FileEventStream::State& stream, SteadyTime now);
  static void deliver(FileEventStream::State& stream, Batch& batch);
  void tellLimit(FileEventStream::State& stream, const FolderWatcher::Tally& tally) const;

  const Settings settings_;
  Descriptor wake_;
  std::mutex commandsLock_;
  std::vector<std::function<void()>> commands_;
  FolderWatcher watcher_;
  RootLooks looks_;
  std::map<std::uint16_t, std::shared_ptr<FileEventStream::State>> streams_;
  std::uint16_t nextId_ = 0;
  SteadyTime rootsDue_{};
  SteadyTime rescanDue_{};
  SteadyTime readDue_{};
  bool isEnding_ = false;
  std::thread thread_;  // last: it uses all of them
};

// Commands of other threads.

void FileEventStreams::Loop::post(std::function<void()> command) {
  {
    const std::lock_guard lock(commandsLock_);
    commands_.push_back(std::move(command));
  }
  const std::uint64_t one = 1;
  (void)!::write(wake_.get(), &one, sizeof one);
}

void FileEventStreams::Loop::perform(const std::function<void()>& command) {
  std::promise<void> done;
  post([&] {
    command();
    done.set_value();
  });
  done.get_future().wait();
}

void FileEventStreams::Loop::runCommands() {
  std::uint64_t count = 0;
  (void)!::read(wake_.get(), &count, sizeof count);
  std::vector<std::function<void()>> commands;
  {
    const std::lock_guard lock(commandsLock_);
    commands.swap(commands_);
  }
  for (const auto& command : commands) command();
}

void FileEventStreams::Loop::begin(const std::shared_ptr<FileEventStream::State>& stream) {
  while (streams_.count(nextId_) != 0) ++nextId_;
  stream->id = nextId_++;
  streams_[stream->id] = stream;
  looks_.beginRound();
  for (const WatchedRoot& root : stream->roots) watcher_.addRoot(stream->id, root);
}

// The thread.

void FileEventStreams::Loop::run() {
  rescanDue_ = std::chrono::steady_clock::now() + settings_.rescanInterval;
  bool hasMore = false;
  while (!isEnding_) {
    wait(hasMore);
    runCommands();
    hasMore = watcher_.scanSome();
    runTimers(std::chrono::steady_clock::now());
  }
}

// What many small writes cause is read in larger portions; the kernel drops repetitions meanwhile.
void FileEventStreams::Loop::wait(bool hasMore) {
  const SteadyTime now = std::chrono::steady_clock::now();
  const bool isResting = now < readDue_;
  SteadyTime until = isResting ? std::min(readDue_, nextDue()) : nextDue();
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - now).count();
  std::array<pollfd, 3> files{{{wake_.get(), POLLIN, 0},
                               {watcher_.mountDescriptor(), POLLPRI, 0},
                               {isResting ? -1 : watcher_.descriptor(), POLLIN, 0}}};
  ::poll(files.data(), files.size(), hasMore ? 0 : static_cast<int>(std::clamp<std::int64_t>(left, 0, 60'000)));
  if (files[1].revents & POLLPRI) watcher_.mountsChanged();
  if (!(files[2].revents & POLLIN)) return;
  watcher_.readEvents();
  readDue_ = std::chrono::steady_clock::now() + kBetweenReads;
}

SteadyTime FileEventStreams::Loop::nextDue() const {
  if (streams_.empty()) return std::chrono::steady_clock::now() + std::chrono::hours(1);
  SteadyTime due = std::min(rootsDue_, rescanDue_);
  for (const auto& [id, stream] : streams_) {
    if (!stream->usual.folders.empty()) due = std::min(due, stream->usual.due);
    if (!stream->staysOpen.folders.empty()) due = std::min(due, stream->staysOpen.due);
  }
  return due;
}

void FileEventStreams::Loop::runTimers(SteadyTime now) {
  if (now >= rootsDue_) {
    looks_.beginRound();
    watcher_.checkRoots();
    rootsDue_ = now + settings_.rootInterval;
  }
  if (now >= rescanDue_) {
    watcher_.rescan();
    rescanDue_ = now + settings_.rescanInterval;
  }
  for (const auto& [id, stream] : streams_) tell(*stream, now);
}

void FileEventStreams::Loop::changed(std::uint16_t id, const std::string& folder, Urgency urgency) {
  FileEventStream::State& stream = *streams_.at(id);
  if (urgency == Urgency::kUsual && folder == stream.lastFolder) return;
  const bool isUsual = urgency == Urgency::kUsual;
  if (isUsual) stream.staysOpen.folders.erase(withSlash(folder));
  (isUsual ? stream.usual : stream.staysOpen)
      .add(withSlash(folder), std::chrono::steady_clock::now(),
           isUsual ? stream.options.latency : stream.options.openFileLatency);
  if (isUsual) stream.lastFolder = folder;
}

void FileEventStreams::Loop::tell(FileEventStream::State& stream, SteadyTime now) {
  const FolderWatcher::Tally& tally = watcher_.tally(stream.id);
  stream.watched = tally.counts.watched;
  stream.rescanned = tally.counts.rescanned;
  if (tally.waiting > 0) return;
  tellLimit(stream, tally);
  if (!std::exchange(stream.isStanding, true) && stream.observer.onStanding) stream.tell(stream.observer.onStanding);
  if (!stream.usual.folders.empty() && now >= stream.usual.due) {
    stream.lastFolder.clear();
    deliver(stream, stream.usual);
  }
  if (!stream.staysOpen.folders.empty() && now >= stream.staysOpen.due) deliver(stream, stream.staysOpen);
}

void FileEventStreams::Loop::deliver(FileEventStream::State& stream, Batch& batch) {
  std::vector<std::string> folders(batch.folders.begin(), batch.folders.end());
  batch.folders.clear();
  if (folders.size() > kMostFolders) {
    folders.clear();
    for (const WatchedRoot& root : stream.roots) folders.push_back(withSlash(root.path));
  }
  stream.tell([&] { stream.observer.eventCallback(folders); });
}

void FileEventStreams::Loop::tellLimit(FileEventStream::State& stream, const FolderWatcher::Tally& tally) const {
  if (!tally.isLimited || std::exchange(stream.isLimitTold, true) || !stream.observer.onLimit) return;
  stream.tell([&] { stream.observer.onLimit(limitText(tally.counts, settings_.rescanInterval)); });
}

// The public classes.

FileEventStreams::FileEventStreams(Settings settings) : loop_(std::make_unique<Loop>(std::move(settings))) {}

FileEventStreams::~FileEventStreams() = default;

void FileEventStreams::simulateOverflow() {
  loop_->overflow();
}

FileEventStream::FileEventStream(FileEventStreams& streams, std::vector<WatchedRoot> roots, FileEventObserver observer,
                                 FileEventOptions options)
    : streams_(streams), state_(std::make_shared<State>()) {
  state_->roots = std::move(roots);
  state_->observer = std::move(observer);
  state_->options = std::move(options);
  streams_.loop_->add(state_);
}

FileEventStream::~FileEventStream() {
  streams_.loop_->remove(state_);
}

WatchedCounts FileEventStream::counts() const {
  return {state_->watched, state_->rescanned};
}

}  // namespace lumisk
