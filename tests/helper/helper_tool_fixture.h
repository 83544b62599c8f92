#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#include "helper/bas_dictionary.h"
#include "helper/bas_helper_tool.h"
#include "platform/local_socket.h"
#include "support/temp_tree.h"

namespace lumisk::test {

using namespace std::chrono_literals;

// Generous: nothing is expected to take that long.
inline Deadline soon() {
  return std::chrono::steady_clock::now() + 30s;
}

template <class Condition>
bool becomesTrue(Condition condition) {
  for (const Deadline end = soon(); std::chrono::steady_clock::now() < end; std::this_thread::sleep_for(5ms))
    if (condition()) return true;
  return false;
}

// The helper in a process of its own, on a socket of its own.
class RunningHelper {
 public:
  explicit RunningHelper(std::map<std::string, CommandProc> procedures, HelperLimits limits = {},
                         std::function<int()> right = {})
      : procedures_(std::move(procedures)), listener_(*LocalListener::listenAt(path())) {
    process_ = ::fork();
    if (process_ != 0) return;
    ::setpgid(0, 0);  // so that what it has started ends with it
    const HelperToolServices services{[&](const HelperPeer&, const CommandSpec&) { return right ? right() : 0; },
                                      [](const std::string&) {}};
    ::_exit(serveHelperRequests({lumiskCommands(), procedures_, services, limits}, listener_.descriptor()));
  }
  RunningHelper(const RunningHelper&) = delete;
  RunningHelper& operator=(const RunningHelper&) = delete;
  ~RunningHelper() {
    if (process_ <= 0) return;
    ::setpgid(process_, process_);
    ::kill(-process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
  }

  [[nodiscard]] std::string path() const { return folder_ / "s"; }
  [[nodiscard]] Descriptor connect() const {
    auto connection = connectTo(path(), 30s);
    return connection ? std::move(*connection) : Descriptor();
  }
  // Its exit status, once it has ended by itself.
  int waitForEnd() {
    int status = 0;
    ::waitpid(std::exchange(process_, 0), &status, 0);
    return status;
  }

 private:
  TempTree folder_;
  std::map<std::string, CommandProc> procedures_;
  LocalListener listener_;
  pid_t process_ = 0;
};

}  // namespace lumisk::test
