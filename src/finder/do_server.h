#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

#include "platform/main_loop.h"
#include "platform/property_list.h"

namespace lumisk {

inline constexpr const char* kServerName = "Lumisk4_Do_Server_Name";

// Who answers the requests. Called on the main thread, one at a time; must be quick.
class MessageDelegate {
 public:
  virtual ~MessageDelegate() = default;
  virtual PropertyList::Dictionary doDelegateMessageEvent(const PropertyList::Dictionary& request) = 0;
};

// A request whose "operation" is this one reaches doFreshCloneDiscStatus() instead of the delegate.
inline constexpr const char* kOperationKey = "operation";
inline constexpr const char* kFreshCloneOperation = "doFreshCloneDiscStatus";

// How much a client may ask of the server.
struct ServerLimits {
  std::size_t connections = 64;  // further ones wait until one goes or has been silent for `idle`
  std::chrono::milliseconds idle{1'000};
  std::chrono::milliseconds message{10'000};  // from its first byte to its last, and for the answer to be taken
};

// The application's end of the named connection: a Unix-domain socket (unix(7)) in the user's runtime folder, named by
// the connection name and a digest of the home folder. One request dictionary, one answer dictionary, as often as the
// client likes. Serves the user itself and root, by the peer's credentials. No client can hold it up: what is malformed
// or oversize closes that connection, what is half sent waits without holding anything up and is dropped in time, and
// so is a client that does not take its answer.
//
// Main thread only.
class doServer {
 public:
  explicit doServer(MainLoop& loop, const ServerLimits& limits = {});
  ~doServer();  // closes the connections and removes the socket
  doServer(const doServer&) = delete;
  doServer& operator=(const doServer&) = delete;

  void setDelegate(MessageDelegate* delegate);  // not owned; null: every request is answered with an empty dictionary
  // Fails with EADDRINUSE when another process serves the name. A socket that a dead one left is taken over.
  Result<void> startServer();
  Result<void> createConnectionName(const std::string& name);

  // What a request does; empty answers for empty requests and without a delegate.
  PropertyList::Dictionary doLumiskItActions(const PropertyList::Dictionary& request);
  int doFreshCloneDiscStatus();  // a line in the system's log; 0

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace lumisk
