#include "engine/temporary_name.h"

#include "platform/home_folder.h"

namespace lumisk {

std::string makeTemporaryName() {
  const std::string uuid = generateUUID();
  return ".lumisk-" + uuid.substr(uuid.size() - 12);  // the last group: random throughout
}

}  // namespace lumisk
