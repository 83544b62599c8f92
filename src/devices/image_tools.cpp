#include "devices/image_tools.h"

#include <fmt/format.h>

#include "platform/byte_text.h"

namespace lumisk::image_tools {
namespace {

constexpr std::chrono::minutes kToolLimit{30};  // a check of a large file system takes its time

}  // namespace

// The first line of what a tool says, as the reason.
std::string firstLine(const ChildResult& result, const std::string& tool) {
  const std::string& text = result.errors.empty() ? result.output : result.errors;
  std::string line = text.substr(0, text.find('\n'));
  if (line.empty()) line = fmt::format("{} failed with status {}", tool, result.status);
  return displayText(line);
}

Result<ChildResult> run(const std::vector<std::string>& arguments, const std::string& input) {
  return runChild({.arguments = arguments, .input = input, .environment = {"LC_ALL=C"}, .limit = kToolLimit});
}

Result<void> runToSuccess(const char* operation, const std::string& path, const std::vector<std::string>& arguments,
                          const std::string& input) {
  LUMISK_TRY(const ChildResult result, run(arguments, input));
  if (result.status != 0) return fail(operation, path, 0, firstLine(result, arguments.front()));
  return {};
}

}  // namespace lumisk::image_tools
