#pragma once

#include <string>
#include <vector>

#include "platform/child_process.h"
#include "platform/result.h"

namespace lumisk::image_tools {

// The system's tools for images: in the C locale, with a generous limit.
Result<ChildResult> run(const std::vector<std::string>& arguments, const std::string& input = {});
// An error for any other status than 0, with the first line of what the tool said.
Result<void> runToSuccess(const char* operation, const std::string& path, const std::vector<std::string>& arguments,
                          const std::string& input = {});
[[nodiscard]] std::string firstLine(const ChildResult& result, const std::string& tool);

}  // namespace lumisk::image_tools
