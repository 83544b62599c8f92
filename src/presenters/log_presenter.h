#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "log/log_tail.h"

namespace lumisk {

struct LogLine {
  std::string text;  // for showing: what is no text is escaped
  bool isError = false;
  std::uint64_t number = 0;  // counts up by one from line to line, and never again from the start
};

// A log as a window shows it: only what is written is read, only so many lines are kept, and of these those with the
// filter text are shown. Main thread only.
class LogPresenter {
 public:
  static constexpr std::size_t kMostLines = 20'000;
  static constexpr std::uint64_t kMostOfOldLog = 4'000'000;  // bytes
  static constexpr std::size_t kLongestLine = 4'000;         // bytes

  LogPresenter(FileCalls& files, std::string path, std::size_t mostLines = kMostLines,
               std::uint64_t mostOfOldLog = kMostOfOldLog);

  // What look() has changed of the shown lines.
  struct Change {
    bool isAnew = false;      // the log was emptied or replaced: all lines are others
    std::size_t dropped = 0;  // at the top
    std::size_t added = 0;    // at the bottom
  };
  // Reads what has been written since, a bounded part of it: to be called again soon while isBehind().
  Change look();
  [[nodiscard]] bool isBehind() const { return isBehind_; }

  // Those that the filter lets pass, the oldest first.
  [[nodiscard]] const std::deque<LogLine>& shown() const { return shown_; }
  // Letter case of ASCII does not matter; "" for all. The shown lines are others afterwards.
  void setFilter(const std::string& text);
  void setErrorsOnly(bool errorsOnly);
  [[nodiscard]] std::size_t errors() const { return errors_; }  // of the lines that are kept
  [[nodiscard]] std::size_t kept() const { return lines_.size(); }

  // Empties the file, too. False when it could not be.
  bool clear();
  [[nodiscard]] const std::string& path() const { return path_; }
  // Why the log cannot be read, in one line; "" when it can, or is not there yet.
  [[nodiscard]] const std::string& trouble() const { return trouble_; }

 private:
  void take(const std::string& text, Change& change);
  void add(std::string line, Change& change);
  void dropFirst(Change& change);
  void forget();
  void filterAnew();
  [[nodiscard]] bool passes(const LogLine& line) const;

  const std::string path_;
  const std::size_t mostLines_;
  LogTail tail_;
  std::uint64_t beginnings_ = 0;
  std::deque<LogLine> lines_, shown_;
  std::string rest_;  // of a line that is not complete yet
  std::string filter_;
  bool errorsOnly_ = false;
  bool isBehind_ = false;
  std::size_t errors_ = 0;
  std::uint64_t lastNumber_ = 0;
  std::string trouble_;
};

// Whether a line of a log tells of something that went wrong. Pure.
[[nodiscard]] bool isErrorLine(const std::string& line);

}  // namespace lumisk
