#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "helper/command_table.h"
#include "platform/descriptor.h"
#include "platform/property_list.h"

namespace lumisk {

// Who asks, as the kernel knows it (SO_PEERCRED, unix(7)), never as the request says.
struct HelperPeer {
  std::uint32_t user = 0;
  std::uint32_t group = 0;
  std::int32_t process = 0;
  int processDescriptor = -1;  // SO_PEERPIDFD where the kernel gives it; not owned, valid during the call
};

struct HelperRequest {
  const PropertyList::Dictionary& dictionary;
  const HelperPeer& peer;
};

struct HelperResponse {
  PropertyList::Dictionary dictionary;    // without the error, which the loop adds
  std::vector<Descriptor> descriptors;    // passed along with the response
  std::function<void()> afterwards = {};  // done when the response has been sent and the connection closed
};

// The error code of the response: 0, or an OSStatus.
using CommandProc = std::function<std::int32_t(const HelperRequest& request, HelperResponse& response)>;

// What the loop asks of the world, for tests without a system bus.
struct HelperToolServices {
  // Whether the peer may do what the right stands for; may wait for somebody who authenticates. 0 or an OSStatus.
  std::function<std::int32_t(const HelperPeer& peer, const CommandSpec& command)> acquireRight;
  std::function<void(const std::string& line)> log;
};

// The helper's side of the protocol: takes a listening socket from the service manager (sd_listen_fds(3): $LISTEN_PID,
// $LISTEN_FDS), serves one request per connection, and ends when nobody has asked for a while. The exit status.
int BASHelperToolMain(const std::vector<CommandSpec>& commands, const std::map<std::string, CommandProc>& procedures,
                      const HelperToolServices& services);

}  // namespace lumisk
