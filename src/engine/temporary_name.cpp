#include "engine/temporary_name.h"

#include "platform/home_folder.h"

namespace lumisk {

std::string makeTemporaryName() {
  const std::string uuid = generateUUID();
  std::string digits = uuid.substr(uuid.size() - 12);  // the last group: random throughout
  for (char& digit : digits) digit = digit >= 'A' ? static_cast<char>(digit - 'A' + 'a') : digit;
  return ".lumisk-" + digits;
}

}  // namespace lumisk
