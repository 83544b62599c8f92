#include "engine/job_log.h"

#include <cstdarg>
#include <cstdio>

#include "log/log_file.h"
#include "platform/byte_text.h"

namespace lumisk {
namespace {

std::string formatted(const char* format, std::va_list arguments) {
  std::va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, again);
  va_end(again);
  if (length <= 0) return {};
  std::string text(static_cast<std::size_t>(length), '\0');
  std::vsnprintf(text.data(), text.size() + 1, format, arguments);
  return text;
}

}  // namespace

void JobLog::write(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const std::string text = formatted(format, arguments);
  va_end(arguments);
  writeText(text);
}

std::string shown(std::string_view path) {
  return displayText(path);
}

void JobLogFile::writeText(const std::string& text) {
  TivOutputLogMessageByJob(jobName_, "%s", text.c_str());
}

}  // namespace lumisk
