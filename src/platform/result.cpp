#include "platform/result.h"

#include <system_error>

#include "platform/byte_text.h"

namespace lumisk {

std::string Error::text() const {
  std::string result = operation;
  if (!path.empty()) result.append(" ").append(displayText(path));
  if (code != 0) result.append(": ").append(std::generic_category().message(code));
  if (detail.empty()) return result;
  return code != 0 ? result.append(" (").append(detail).append(")") : result.append(": ").append(detail);
}

}  // namespace lumisk
