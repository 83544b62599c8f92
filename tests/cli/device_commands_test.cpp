#include "cli/command_line_fixture.h"
#include "platform/block_device.h"

namespace lumisk::test {
namespace {

class DeviceCommands : public CommandLineFixture {};

TEST_F(DeviceCommands, Volumes_ListTheStartUpVolumeOnce) {
  int found = 0;
  for (const auto& volume : done({"volumes", "--json"}).json()) {
    if (volume["path"] != "/") continue;
    ++found;
    EXPECT_GT(volume["size"], volume["free"]);
    EXPECT_FALSE(volume["readOnly"]);
    EXPECT_NE(done({"volumes"}).out.find(volume["device"].get<std::string>()), std::string::npos);
  }
  EXPECT_EQ(found, 1);
}

TEST_F(DeviceCommands, Disks_ListEachDisk) {
  const auto list = done({"disks", "--json"}).json();
  const std::string table = done({"disks"}).out;
  EXPECT_EQ(list.size(), block_device::disks().size());
  for (const auto& disk : list) EXPECT_NE(table.find(disk["device"].get<std::string>()), std::string::npos);
}

}  // namespace
}  // namespace lumisk::test
