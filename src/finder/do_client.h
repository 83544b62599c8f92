#pragma once

#include <chrono>
#include <string>

#include "platform/descriptor.h"
#include "platform/property_list.h"

namespace lumisk {

// The other end of doServer's connection. One thread at a time. Not connected: every request fails.
class doClient {
 public:
  // Fails with ENOENT or ECONNREFUSED when no instance serves this home folder.
  Result<void> connect();
  // Sends and waits for the answer, at most `patience` (ETIMEDOUT). After a failure the client is no longer connected.
  Result<PropertyList::Dictionary> request(const PropertyList::Dictionary& request,
                                           std::chrono::milliseconds patience = std::chrono::seconds(30));
  // -1 when not connected; else the answer's "result" (0 without one).
  int doLumiskItActions(const PropertyList::Dictionary& request);

 private:
  Descriptor serverObject_;
};

}  // namespace lumisk
