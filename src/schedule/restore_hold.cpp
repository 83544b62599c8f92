#include "schedule/restore_hold.h"

#include <atomic>

namespace lumisk {
namespace {

std::string nextId() {
  static std::atomic<int> last{0};
  return std::to_string(++last);
}

}  // namespace

RestoreHold::RestoreHold(std::string pluginListPath, const std::string& from, const std::string& to)
    : list_(std::move(pluginListPath)), id_(nextId()) {
  list_.addRestore(id_, from, to);
}

RestoreHold::~RestoreHold() {
  list_.removeRestore(id_);
}

}  // namespace lumisk
