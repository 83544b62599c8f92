#include "helper/bas_helper_tool.h"

#include <algorithm>

#include "helper/helper_connection.h"
#include "platform/activated_sockets.h"
#include "platform/local_socket.h"
#include "platform/socket_peer.h"

namespace lumisk {
namespace {

// Takes connections and gives each to a process of its own.
class HelperLoop {
 public:
  HelperLoop(const HelperTool& tool, int listener) : tool_(tool), listener_(listener) {}

  void run() {
    for (;;) {
      const std::vector<int> ready = waitForAny(awaited(), tool_.limits.idleLife);
      if (ready.empty() && served_.empty()) return;
      countOff();
      // A few at a time, so that what has ended is counted off in between.
      for (std::size_t i = 0; i < tool_.limits.connections && takeOne(); ++i) countOff();
    }
  }

 private:
  struct Served {
    ForkedProcess process;
    std::uint32_t user;
  };

  std::vector<int> awaited() const {
    std::vector<int> descriptors{listener_};
    for (const Served& one : served_) descriptors.push_back(one.process.descriptor());
    return descriptors;
  }

  void countOff() {
    std::erase_if(served_, [](Served& one) { return one.process.hasEnded(); });
  }

  [[nodiscard]] bool hasRoomFor(std::uint32_t user) const {
    const auto own = std::count_if(served_.begin(), served_.end(), [&](const Served& one) { return one.user == user; });
    return served_.size() < tool_.limits.connections &&
           static_cast<std::size_t>(own) < tool_.limits.connectionsOfOneUser;
  }

  // False when nobody waits to be served.
  bool takeOne() {
    auto connection = acceptConnection(listener_);
    if (!connection) return false;
    const auto peer = peerOf(connection->get());
    if (!peer) return true;
    if (hasRoomFor(peer->user)) {
      serve(std::move(*connection), *peer);
    } else {
      refuseHelperConnection(std::move(*connection));
    }
    return true;
  }

  void serve(Descriptor connection, const SocketPeer& socketPeer) {
    const HelperPeer peer{socketPeer.user, socketPeer.group, socketPeer.process};
    auto process = ForkedProcess::start([&] {
      Descriptor(listener_).reset();
      served_.clear();
      serveHelperConnection(tool_, std::move(connection), peer);
      return 0;
    });
    if (process) {
      served_.push_back({std::move(*process), peer.user});
    } else {
      tool_.services.log(process.error().text());
      refuseHelperConnection(std::move(connection));
    }
  }

  const HelperTool& tool_;
  const int listener_;
  std::vector<Served> served_;
};

}  // namespace

int serveHelperRequests(const HelperTool& tool, int listener) {
  checkCommands(tool.commands);
  HelperLoop(tool, listener).run();
  return 0;
}

int BASHelperToolMain(const std::vector<CommandSpec>& commands, const std::map<std::string, CommandProc>& procedures,
                      const HelperToolServices& services) {
  const std::vector<Descriptor> listeners = takeActivatedSockets();
  if (listeners.empty()) {
    services.log("no listening socket was passed: this program is started by its socket unit");
    return 1;
  }
  return serveHelperRequests({commands, procedures, services}, listeners.front().get());
}

}  // namespace lumisk
