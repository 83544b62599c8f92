#include "platform/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <optional>
#include <utility>

#include "platform/descriptor.h"

namespace lumisk {
namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr int kBetweenQuestions = 100;  // milliseconds

struct Channel {
  Descriptor ours;
  Descriptor theirs;
};

// Never one of the first three, which the child replaces; they are free when we were started without them.
Result<Descriptor> awayFromTheStandardOnes(Descriptor descriptor) {
  if (descriptor.get() > STDERR_FILENO) return descriptor;
  Descriptor moved(::fcntl(descriptor.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  if (!moved.isOpen()) return fail("make a channel", {}, errno);
  return moved;
}

enum class Direction { kToChild, kFromChild };

// Pipes and not sockets: programs open "/dev/stdin" and "/dev/stderr" by name, which sockets refuse.
Result<Channel> makeChannel(Direction direction) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return fail("make a channel", {}, errno);
  Descriptor first(ends[0]), second(ends[1]);
  LUMISK_TRY(auto reading, awayFromTheStandardOnes(std::move(first)));
  LUMISK_TRY(auto writing, awayFromTheStandardOnes(std::move(second)));
  const bool toChild = direction == Direction::kToChild;
  Channel channel{std::move(toChild ? writing : reading), std::move(toChild ? reading : writing)};
  ::fcntl(channel.ours.get(), F_SETFL, O_NONBLOCK);
  return channel;
}

// Writing to a child that does not read would raise SIGPIPE in this thread.
class WithoutBrokenPipeSignal {
 public:
  WithoutBrokenPipeSignal() {
    sigemptyset(&signal_);
    sigaddset(&signal_, SIGPIPE);
    sigset_t pending;
    sigpending(&pending);
    wasPending_ = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &signal_, &before_);
  }
  WithoutBrokenPipeSignal(const WithoutBrokenPipeSignal&) = delete;
  WithoutBrokenPipeSignal& operator=(const WithoutBrokenPipeSignal&) = delete;
  ~WithoutBrokenPipeSignal() {
    const timespec now{};
    while (!wasPending_ && sigtimedwait(&signal_, nullptr, &now) < 0 && errno == EINTR) {
    }
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }

 private:
  sigset_t signal_;
  sigset_t before_;
  bool wasPending_ = false;
};

struct Channels {
  Channel input;
  Channel output;
  Channel errors;
};

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

// Ours, with what `added` names replaced.
std::vector<std::string> environmentWith(const std::vector<std::string>& added) {
  std::vector<std::string> all = added;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text = *entry;
    const std::string name = text.substr(0, text.find('=') + 1);
    const bool isReplaced =
        std::any_of(added.begin(), added.end(), [&](const std::string& one) { return one.starts_with(name); });
    if (!isReplaced) all.push_back(text);
  }
  return all;
}

class SpawnSettings {
 public:
  SpawnSettings() {
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;
  ~SpawnSettings() {
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
  }
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
};

Result<pid_t> spawn(const ChildRequest& request, const Channels& channels) {
  SpawnSettings settings;
  posix_spawn_file_actions_adddup2(&settings.actions, channels.input.theirs.get(), STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&settings.actions, channels.output.theirs.get(), STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&settings.actions, channels.errors.theirs.get(), STDERR_FILENO);
  // What a library opened without O_CLOEXEC.
  posix_spawn_file_actions_addclosefrom_np(&settings.actions, STDERR_FILENO + 1);
  sigset_t none, all;
  sigemptyset(&none);
  sigfillset(&all);
  posix_spawnattr_setsigmask(&settings.attributes, &none);
  posix_spawnattr_setsigdefault(&settings.attributes, &all);
  // A group of its own, so that a kill reaches what it has started, too.
  posix_spawnattr_setpgroup(&settings.attributes, 0);
  const int flags =
      POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | (request.sharesTerminal ? 0 : POSIX_SPAWN_SETPGROUP);
  posix_spawnattr_setflags(&settings.attributes, static_cast<short>(flags));
  std::vector<std::string> arguments = request.arguments;
  std::vector<std::string> environment = environmentWith(request.environment);
  pid_t child = 0;
  const int code = posix_spawnp(&child, arguments[0].c_str(), &settings.actions, &settings.attributes,
                                pointersTo(arguments).data(), pointersTo(environment).data());
  if (code != 0) return fail("start", request.arguments[0], code);
  return child;
}

// Moves bytes between us and the child until it has ended or the time is up. Its end is what counts, and not that of
// its output: what it leaves running in the background may hold that open for ever.
class Exchange {
 public:
  Exchange(const ChildRequest& request, Channels& channels, ChildResult& result)
      : input_(request.input), isGivenUp_(request.isGivenUp), channels_(channels), result_(result) {
    if (request.limit != std::chrono::milliseconds::max()) end_ = SteadyClock::now() + request.limit;
  }

  // Why it was not waited for any longer, or 0. `ended` becomes readable when the child ends.
  int run(const Descriptor& ended) {
    if (input_.empty()) channels_.input.ours.reset();
    while (true) {
      std::array<pollfd, 4> waiting{pollfd{channels_.input.ours.get(), POLLOUT, 0},
                                    pollfd{channels_.output.ours.get(), POLLIN, 0},
                                    pollfd{channels_.errors.ours.get(), POLLIN, 0}, pollfd{ended.get(), POLLIN, 0}};
      const int ready = ::poll(waiting.data(), waiting.size(), remaining());
      if (ready < 0) continue;
      if (isGivenUp_ && isGivenUp_()) return ECANCELED;
      if (ready == 0 && end_ && SteadyClock::now() >= *end_) return ETIMEDOUT;
      if (waiting[0].revents != 0) send();
      if (waiting[1].revents != 0) receive(channels_.output.ours, result_.output);
      if (waiting[2].revents != 0) receive(channels_.errors.ours, result_.errors);
      if (waiting[3].revents != 0) return drain(), 0;
    }
  }

 private:
  int remaining() const {
    const int most = isGivenUp_ ? kBetweenQuestions : 1'000'000;
    if (!end_) return isGivenUp_ ? most : -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*end_ - SteadyClock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, most));
  }

  void send() {
    const WithoutBrokenPipeSignal guard;
    const ssize_t sent = ::write(channels_.input.ours.get(), input_.data(), input_.size());
    if (sent < 0 && (errno == EAGAIN || errno == EINTR)) return;
    input_.remove_prefix(sent < 0 ? input_.size() : static_cast<std::size_t>(sent));  // it may not want to read all
    if (input_.empty()) channels_.input.ours.reset();
  }

  // False when there is nothing more for now.
  static bool receive(Descriptor& from, std::string& into) {
    std::array<char, 65536> buffer;
    const ssize_t size = ::read(from.get(), buffer.data(), buffer.size());
    if (size > 0) into.append(buffer.data(), static_cast<std::size_t>(size));
    if (size == 0 || (size < 0 && errno != EAGAIN && errno != EINTR)) from.reset();
    return size > 0 || (size < 0 && errno == EINTR);
  }

  // What the child wrote before it ended is in the pipes, which hold a megabyte at most; what is still running in the
  // background may go on writing.
  void drain() {
    for (int i = 0; i < 16 && receive(channels_.output.ours, result_.output); ++i) {
    }
    for (int i = 0; i < 16 && receive(channels_.errors.ours, result_.errors); ++i) {
    }
  }

  std::string_view input_;
  const std::function<bool()>& isGivenUp_;
  Channels& channels_;
  ChildResult& result_;
  std::optional<SteadyClock::time_point> end_;
};

Result<int> waitFor(pid_t child, const std::string& program) {
  int status = 0;
  while (::waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return fail("wait for", program, errno);
  }
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace

Result<ChildResult> runChild(const ChildRequest& request) {
  if (request.arguments.empty()) return fail("start", {}, EINVAL);
  Channels channels;
  LUMISK_TRY(channels.input, makeChannel(Direction::kToChild));
  LUMISK_TRY(channels.output, makeChannel(Direction::kFromChild));
  LUMISK_TRY(channels.errors, makeChannel(Direction::kFromChild));
  LUMISK_TRY(const pid_t child, spawn(request, channels));
  channels.input.theirs.reset();
  channels.output.theirs.reset();
  channels.errors.theirs.reset();
  ChildResult result;
  const Descriptor ended(static_cast<int>(::syscall(SYS_pidfd_open, child, 0)));
  const int cannotWatch = ended.isOpen() ? 0 : errno;
  const int code = cannotWatch != 0 ? cannotWatch : Exchange(request, channels, result).run(ended);
  const bool ends = code == 0 || ::kill(request.sharesTerminal ? child : -child, SIGKILL) == 0 || errno != EPERM;
  if (ends) {
    LUMISK_TRY(result.status, waitFor(child, request.arguments[0]));
  }
  if (code != 0) return fail("wait for", request.arguments[0], code);
  return result;
}

}  // namespace lumisk
