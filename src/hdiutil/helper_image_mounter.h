#pragma once

#include "devices/image_mounter.h"
#include "helper/bas_client.h"

namespace lumisk {

// For everybody who is not root: the root helper mounts what the user's own storage daemon shows, nosuid and nodev.
class HelperImageMounter final : public ImageBlocksMounter {
 public:
  Result<void> isReady() override;
  Result<std::string> mount(const std::string& blocksPath, const std::string& name) override;
  Result<void> unmount(const std::string& mountPoint, How how) override;
  Result<void> removeDeadBlocks(const std::string& blocksPath) override;

 private:
  Result<PropertyList::Dictionary> ask(const char* operation, const std::string& place,
                                       const PropertyList::Dictionary& request);

  Authorization authorization_;
};

}  // namespace lumisk
