// Clones one mounted volume onto another, as the privileged helper does: for bench/clone.sh.
// Usage (as root): bench_clone SOURCE TARGET [erase] [verify]
#include <fmt/format.h>

#include <string_view>

#include "clone/volume_clone.h"
#include "platform/volume.h"

namespace {

class Teller : public lumisk::CloneObserver {
 public:
  bool isCancelled() override { return false; }
  void progressed(const lumisk::CloneProgress&) override {}
  void said(const std::string& line) override { fmt::print(stderr, "{}\n", line); }
};

}  // namespace

int main(int count, char** arguments) {
  if (count < 3) return 2;
  lumisk::CloneOrder order;
  order.sourcePath = arguments[1];
  order.targetPath = arguments[2];
  if (const auto mount = lumisk::volume::mountHolding(order.targetPath))
    order.targetDevice = lumisk::volume::deviceOf(*mount).node;
  for (int i = 3; i < count; ++i) {
    order.formatVolume = order.formatVolume || std::string_view(arguments[i]) == "erase";
    order.verify = order.verify || std::string_view(arguments[i]) == "verify";
  }
  Teller teller;
  const lumisk::CloneReport report = lumisk::cloneVolume(lumisk::realFileCalls(), order, teller);
  fmt::print("entries {} copied {} bytes {} removed {} repaired {} failures {} {}\n", report.entries, report.copied,
             report.bytes, report.removed, report.repaired, report.failures, report.reason);
  return report.end == lumisk::CloneReport::End::kFinished ? 0 : 1;
}
