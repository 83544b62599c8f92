#pragma once

#include <string>
#include <string_view>

namespace lumisk {

// A run's own log. Formats end with "\n" and mostly begin with "%s: " and the job's name. Paths and names of files are
// given as shown(path).c_str().
class JobLog {
 public:
  virtual ~JobLog() = default;
  void write(const char* format, ...) __attribute__((format(printf, 2, 3)));

 protected:
  virtual void writeText(const std::string& text) = 0;
};

// The text of a path for a log line, on one line whatever bytes its names hold: no name can forge a line.
[[nodiscard]] std::string shown(std::string_view path);

// Writes into the job's log file.
class JobLogFile : public JobLog {
 public:
  explicit JobLogFile(std::string jobName) : jobName_(std::move(jobName)) {}

 protected:
  void writeText(const std::string& text) override;

 private:
  std::string jobName_;
};

// Keeps nothing: for runs that only look.
class NoJobLog : public JobLog {
 protected:
  void writeText(const std::string&) override {}
};

}  // namespace lumisk
