#pragma once

#include <chrono>
#include <mutex>
#include <string>

#include "cli/command_io.h"
#include "engine/job_progress_message.h"

namespace lumisk {

// What a run says while it goes on: a progress line that is rewritten in place on a terminal, and messages, which stand
// above it. Any thread may call.
class RunDisplay {
 public:
  enum class Progress { kOnTerminal, kNever };
  RunDisplay(CommandIo& io, Progress progress);

  // "lumisk: <what>: <text>" on standard error, one line whatever the text holds.
  void message(const std::string& what, const std::string& text);
  // A line of the command's own output.
  void line(const std::string& text);
  void progress(const JobProgressMessage& message);
  void clearProgress();
  [[nodiscard]] bool showsProgress() const;
  // Writes the question on standard error and waits for a line; see CommandIo::readLine.
  std::optional<std::string> ask(const std::string& question, const std::function<bool()>& mustStop);

  [[nodiscard]] int messages();  // how many were shown

 private:
  void setAsking(bool isAsking, const std::string& text);
  void clearLocked();

  CommandIo& io_;
  const Progress progress_;
  const std::chrono::steady_clock::time_point begin_;
  std::mutex mutex_;
  std::chrono::steady_clock::time_point drawn_{};
  bool isDrawn_ = false;
  bool isAsking_ = false;  // no progress line into the middle of a question
  int messages_ = 0;
};

}  // namespace lumisk
