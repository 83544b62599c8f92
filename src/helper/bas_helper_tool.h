#pragma once

#include <chrono>
#include <cstddef>
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
};

struct HelperRequest {
  const PropertyList::Dictionary& dictionary;
  const HelperPeer& peer;
};

struct HelperResponse {
  PropertyList::Dictionary dictionary;    // without the error, which the loop adds
  std::vector<Descriptor> descriptors;    // passed along with the response
  std::function<void()> afterwards = {};  // done when the response has been taken and the connection closed
};

// The error code of the response: 0, or an OSStatus.
using CommandProc = std::function<std::int32_t(const HelperRequest& request, HelperResponse& response)>;

// What the loop asks of the world, for tests without a system bus.
struct HelperToolServices {
  // Whether the peer may do what the right stands for; may wait for somebody who authenticates. 0 or an OSStatus.
  std::function<std::int32_t(const HelperPeer& peer, const CommandSpec& command)> acquireRight;
  std::function<void(const std::string& line)> log;
};

// How long and how much the helper bears with.
struct HelperLimits {
  std::chrono::milliseconds request{10'000};   // for all of a request to arrive, and again for the response to leave
  std::chrono::milliseconds idleLife{60'000};  // without anybody asking; then the helper ends
  std::size_t connections = 64;                // at once; what is asked beyond is answered with EAGAIN
  std::size_t connectionsOfOneUser = 8;        // so that no user keeps the others out
};

// The helper's side of the protocol: takes a listening socket from the service manager (sd_listen_fds(3): $LISTEN_PID,
// $LISTEN_FDS), serves one request per connection, and ends when nobody has asked for a while. The exit status.
//
// Each connection is served in a process of its own, a copy of this one: right, procedure and `afterwards` run there on
// its only thread, one after the other, and may take as long as they need; what they keep open or hold locked goes with
// it, however it ends. Nothing that one request leaves in memory is seen by another. A request whose sender has gone by
// the time that it has its right is not carried out. To be called from a process of one thread.
int BASHelperToolMain(const std::vector<CommandSpec>& commands, const std::map<std::string, CommandProc>& procedures,
                      const HelperToolServices& services);

// The same on this listening socket, with these limits. Does not return in the processes that serve.
struct HelperTool {
  const std::vector<CommandSpec>& commands;
  const std::map<std::string, CommandProc>& procedures;
  const HelperToolServices& services;
  HelperLimits limits = {};
};
int serveHelperRequests(const HelperTool& tool, int listener);

}  // namespace lumisk
