#include "cli/complaint.h"

#include <fmt/format.h>

#include <system_error>

#include "platform/byte_text.h"

namespace lumisk {

Complaint complaintOf(const Error& error) {
  const std::string reason = error.code != 0 ? std::generic_category().message(error.code) : error.detail;
  const bool hasPath = !error.path.empty();
  std::string why = hasPath ? fmt::format("could not {}: {}", error.operation, reason) : reason;
  return {Ending::kIncomplete, hasPath ? error.path : error.operation, std::move(why)};
}

std::string complaintLine(const Complaint& complaint) {
  return fmt::format("lumisk: {}: {}", displayText(complaint.what), displayText(complaint.why));
}

}  // namespace lumisk
