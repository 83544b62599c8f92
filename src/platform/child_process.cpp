#include "platform/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>

#include "platform/descriptor.h"

extern char** environ;

namespace lumisk {
namespace {

using SteadyClock = std::chrono::steady_clock;

struct Channel {
  Descriptor ours;
  Descriptor theirs;
};

// A pair of sockets and not a pipe: sending can then be kept from raising SIGPIPE in this thread.
Result<Channel> makeChannel() {
  int pair[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0) return fail("make a channel", {}, errno);
  return Channel{Descriptor(pair[0]), Descriptor(pair[1])};
}

struct Channels {
  Channel input;
  Channel output;
  Channel errors;
};

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
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
  posix_spawnattr_setflags(&settings.attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  std::vector<std::string> arguments = request.arguments;
  std::vector<std::string> environment = environmentWith(request.environment);
  pid_t child = 0;
  const int code = posix_spawnp(&child, arguments[0].c_str(), &settings.actions, &settings.attributes,
                                pointersTo(arguments).data(), pointersTo(environment).data());
  if (code != 0) return fail("start", request.arguments[0], code);
  return child;
}

// Moves bytes between us and the child until it has closed both its outputs or the time is up.
class Exchange {
 public:
  Exchange(const ChildRequest& request, Channels& channels, ChildResult& result)
      : input_(request.input), channels_(channels), result_(result) {
    if (request.limit != std::chrono::milliseconds::max()) end_ = SteadyClock::now() + request.limit;
  }

  // False: the time is up.
  bool run() {
    if (input_.empty()) channels_.input.ours.reset();
    while (channels_.output.ours.isOpen() || channels_.errors.ours.isOpen()) {
      std::array<pollfd, 3> waiting{pollfd{channels_.input.ours.get(), POLLOUT, 0},
                                    pollfd{channels_.output.ours.get(), POLLIN, 0},
                                    pollfd{channels_.errors.ours.get(), POLLIN, 0}};
      const int ready = ::poll(waiting.data(), waiting.size(), remaining());
      if (ready == 0) return false;
      if (ready < 0) continue;
      if (waiting[0].revents != 0) send();
      if (waiting[1].revents != 0) receive(channels_.output.ours, result_.output);
      if (waiting[2].revents != 0) receive(channels_.errors.ours, result_.errors);
    }
    return true;
  }

 private:
  int remaining() const {
    if (!end_) return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*end_ - SteadyClock::now());
    return left.count() > 0 ? static_cast<int>(std::min<std::int64_t>(left.count(), 1'000'000)) : 0;
  }

  void send() {
    const ssize_t sent = ::send(channels_.input.ours.get(), input_.data(), input_.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0 && (errno == EAGAIN || errno == EINTR)) return;
    input_.remove_prefix(sent < 0 ? input_.size() : static_cast<std::size_t>(sent));  // it may not want to read all
    if (input_.empty()) channels_.input.ours.reset();
  }

  static void receive(Descriptor& from, std::string& into) {
    std::array<char, 65536> buffer;
    const ssize_t size = ::recv(from.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (size > 0) into.append(buffer.data(), static_cast<std::size_t>(size));
    if (size == 0 || (size < 0 && errno != EAGAIN && errno != EINTR)) from.reset();
  }

  std::string_view input_;
  Channels& channels_;
  ChildResult& result_;
  std::optional<SteadyClock::time_point> end_;
};

int waitFor(pid_t child) {
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace

Result<ChildResult> runChild(const ChildRequest& request) {
  if (request.arguments.empty()) return fail("start", {}, EINVAL);
  Channels channels;
  LUMISK_TRY(channels.input, makeChannel());
  LUMISK_TRY(channels.output, makeChannel());
  LUMISK_TRY(channels.errors, makeChannel());
  LUMISK_TRY(const pid_t child, spawn(request, channels));
  channels.input.theirs.reset();
  channels.output.theirs.reset();
  channels.errors.theirs.reset();
  ChildResult result;
  const bool inTime = Exchange(request, channels, result).run();
  if (!inTime) ::kill(child, SIGKILL);
  result.status = waitFor(child);
  if (!inTime) return fail("wait for", request.arguments[0], ETIMEDOUT);
  return result;
}

}  // namespace lumisk
