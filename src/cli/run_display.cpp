#include "cli/run_display.h"

#include "cli/progress_line.h"

namespace lumisk {
namespace {

// More often than this nobody can read it, and terminals far away are slow.
constexpr std::chrono::milliseconds kBetweenLines{100};
constexpr const char* kToLineStart = "\r";
constexpr const char* kClearToEnd = "\x1b[K";

}  // namespace

RunDisplay::RunDisplay(CommandIo& io, Progress progress) : io_(io), progress_(progress), begin_(io.clock.steadyNow()) {}

void RunDisplay::message(const std::string& what, const std::string& text) {
  const std::lock_guard lock(mutex_);
  clearLocked();
  io_.err << complaintLine({Ending::kIncomplete, what, text}) << std::endl;
  ++messages_;
}

void RunDisplay::line(const std::string& text) {
  const std::lock_guard lock(mutex_);
  clearLocked();
  io_.out << text << '\n';
}

void RunDisplay::progress(const JobProgressMessage& message) {
  const std::lock_guard lock(mutex_);
  const auto now = io_.clock.steadyNow();
  if (progress_ == Progress::kNever || message.isFinished || isAsking_ || (isDrawn_ && now - drawn_ < kBetweenLines))
    return;
  const auto columns = io_.progressColumns();
  if (!columns) return;
  const double seconds = std::chrono::duration<double>(now - begin_).count();
  io_.err << kToLineStart << progressLine(message, seconds, *columns) << kClearToEnd << std::flush;
  isDrawn_ = true;
  drawn_ = now;
}

bool RunDisplay::showsProgress() const {
  return progress_ == Progress::kOnTerminal && io_.progressColumns().has_value();
}

void RunDisplay::clearProgress() {
  const std::lock_guard lock(mutex_);
  clearLocked();
}

std::optional<std::string> RunDisplay::ask(const std::string& question, const std::function<bool()>& mustStop) {
  if (!io_.readLine) return std::nullopt;
  setAsking(true, question);
  auto answer = io_.readLine(mustStop);
  setAsking(false, "");
  return answer;
}

// The lock is not held while the answer is awaited: a Ctrl-C has its own message.
void RunDisplay::setAsking(bool isAsking, const std::string& text) {
  const std::lock_guard lock(mutex_);
  clearLocked();
  io_.err << text << std::flush;
  isAsking_ = isAsking;
}

int RunDisplay::messages() {
  const std::lock_guard lock(mutex_);
  return messages_;
}

void RunDisplay::clearLocked() {
  if (isDrawn_) io_.err << kToLineStart << kClearToEnd << std::flush;
  isDrawn_ = false;
}

}  // namespace lumisk
