#include "log/log_file.h"

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <memory>
#include <mutex>
#include <utility>

#include "platform/calendar_date.h"
#include "platform/home_folder.h"

namespace lumisk {
namespace {

constexpr std::uintmax_t kSizeCap = 104857600;  // 100 MiB
constexpr std::uint32_t kMessagesBetweenChecks = 1000;

struct CloseStream {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, CloseStream>;

std::mutex gc_logLock;  // guards the four below
std::string gc_logPath;
Stream gc_logFile;
std::uint32_t gc_logCount = 0;

std::atomic<std::uint32_t> gcl_logCount{0};  // of all jobs' logs together

// Without a buffer, each message becomes one write() to the end of the file. "e": child processes do not inherit it.
Stream openForAppending(const std::string& path) {
  Stream stream(std::fopen(path.c_str(), "a+e"));
  if (stream) std::setvbuf(stream.get(), nullptr, _IONBF, 0);
  return stream;
}

bool isOverCap(const std::string& path) {
  std::error_code unreadable;
  const auto size = std::filesystem::file_size(path, unreadable);
  return !unreadable && size >= kSizeCap;
}

void discard(const std::string& path) {
  std::error_code failure;
  std::filesystem::remove(path, failure);
  if (failure) std::filesystem::resize_file(path, 0, failure);
}

// Makes the folder and what lacks above it, but never the home folder itself: where that is not mounted, nothing is
// to be left on its mount point.
void makeLogFolder(const std::filesystem::path& folder) {
  std::error_code failure;
  if (std::filesystem::is_directory(homeFolder(), failure)) std::filesystem::create_directories(folder, failure);
}

std::string timestamped(const char* format, std::va_list arguments) {
  std::string text = CalendarDate(systemClock().now()).description("%Y-%m-%d  %H:%M:%S : ");
  std::va_list measured;
  va_copy(measured, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, measured);
  va_end(measured);
  if (length <= 0) return text;
  const std::size_t prefix = text.size();
  text.resize(prefix + static_cast<std::size_t>(length) + 1);  // and the NUL that it writes
  std::vsnprintf(text.data() + prefix, static_cast<std::size_t>(length) + 1, format, arguments);
  text.pop_back();
  return text;
}

void write(const Stream& stream, const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), stream.get());
}

void writeToApplicationLog(const std::string& text) {
  if (!gc_logFile) return;
  write(gc_logFile, text);
  if (++gc_logCount < kMessagesBetweenChecks) return;
  gc_logCount = 0;
  if (!isOverCap(gc_logPath)) return;
  discard(gc_logPath);
  gc_logFile = openForAppending(gc_logPath);
}

std::string logsFolder() {
  return homeFolder() + "/Library/Logs";
}

// A folder that is missing is made, with those above it: what is one level below the Logs folder that other systems
// provide may be three levels below the home folder here.
Stream openJobLog(const std::string& path) {
  if (isOverCap(path)) discard(path);
  Stream stream = openForAppending(path);
  if (stream) return stream;
  makeLogFolder(logsFolder() + "/Qel Lumisk");
  return openForAppending(path);
}

std::string describeCurrentException() {
  try {
    if (std::current_exception()) throw;
    return "terminated without an exception";
  } catch (const std::exception& exception) {
    return exception.what();
  } catch (...) {
    return "not a standard exception";
  }
}

std::terminate_handler gc_nextTerminateHandler = nullptr;

[[noreturn]] void logUncaughtException() {
  // The thread that dies may be the one that writes.
  if (const std::unique_lock free(gc_logLock, std::try_to_lock); free)
    writeToApplicationLog("Uncaught exception: " + describeCurrentException() + "\n");
  if (gc_nextTerminateHandler) gc_nextTerminateHandler();
  std::abort();
}

}  // namespace

bool emptyLog(const std::string& path) {
  std::error_code failure;
  if (!std::filesystem::exists(path, failure)) return !failure;
  std::filesystem::resize_file(path, 0, failure);
  return !failure;
}

std::string applicationLogPath() {
  return logsFolder() + "/Qel Lumisk.log";
}

std::string jobLogPath(const std::string& jobName) {
  return logsFolder() + "/Qel Lumisk/" + jobName + ".log";
}

bool TivOpenLogFile(const std::string* path) {
  if (!path) makeLogFolder(logsFolder());
  const std::lock_guard guard(gc_logLock);
  gc_logPath = path ? *path : applicationLogPath();
  if (isOverCap(gc_logPath)) discard(gc_logPath);
  gc_logFile = openForAppending(gc_logPath);
  gc_logCount = 0;
  return gc_logFile != nullptr;
}

void TivCloseLogFile() {
  const std::lock_guard guard(gc_logLock);
  gc_logFile.reset();
}

void TivOutputLogFlush() {
  const std::lock_guard guard(gc_logLock);
  if (gc_logFile) std::fflush(gc_logFile.get());
}

void TivOutputLogMessage(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const std::string text = timestamped(format, arguments);
  va_end(arguments);
  const std::lock_guard guard(gc_logLock);
  writeToApplicationLog(text);
}

int TivOutputLogMessageByJob(const std::string& jobName, const char* format, ...) {
  if (jobName.find('/') != std::string::npos) return 0;  // would lie in a folder that is not the logs'
  const std::string path = jobLogPath(jobName);
  Stream stream = openJobLog(path);
  if (!stream) return 0;
  std::va_list arguments;
  va_start(arguments, format);
  write(stream, timestamped(format, arguments));
  va_end(arguments);
  if (++gcl_logCount < kMessagesBetweenChecks) return 0;
  gcl_logCount = 0;
  if (!isOverCap(path)) return 0;
  discard(path);
  openForAppending(path);
  return 0;
}

void TivDisableOutputLogging(signed char flag) {
  const bool isOn = std::get_terminate() == logUncaughtException;
  if (flag == 0 && !isOn) gc_nextTerminateHandler = std::set_terminate(logUncaughtException);
  if (flag != 0 && isOn) std::set_terminate(std::exchange(gc_nextTerminateHandler, nullptr));
}

}  // namespace lumisk
