#include <sys/socket.h>
#include <unistd.h>

#include <string>

#include "fuzz.h"
#include "helper/bas_dictionary.h"
#include "helper/helper_connection.h"
#include "helper_service/helper_commands.h"

namespace {

using namespace lumisk;

constexpr const char* kScratch = "/dev/shm/lumisk-fuzz-helper";

CloneReport neverClone(const CloneOrder&, CloneObserver&) {
  require(false, "a clone was begun");
  return {};
}

const HelperTool& tool() {
  static const auto procedures = helperProcedures(
      {.clone = neverClone, .log = [](const std::string&) {}, .makeSleep = makeRealSleep, .lockFolder = kScratch},
      ImageMounts(kScratch, kScratch));
  // Nothing is mounted: that would be done in processes of its own.
  static const HelperToolServices services{[](const HelperPeer&, const CommandSpec& command) {
                                             return command.commandName == kMountImageCommand ? kAuthorizationDenied
                                                                                              : kNoError;
                                           },
                                           [](const std::string&) {}};
  static const HelperTool only{lumiskCommands(), procedures, services};
  return only;
}

}  // namespace

// Whatever comes over the socket gets one response, with an error unless it asks for the version. The first byte says
// whether the authorization is put before it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kFitsTheSocket = 100'000;
  if (size == 0 || size > kFitsTheSocket) return 0;
  const std::string sent = std::string((data[0] & 1) != 0 ? 0 : kAuthorizationSize, '\0') +
                           std::string(reinterpret_cast<const char*>(data) + 1, size - 1);
  int ends[2];
  require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "no sockets");
  const Descriptor client(ends[0]);
  require(::send(ends[0], sent.data(), sent.size(), 0) == static_cast<ssize_t>(sent.size()), "not sent");
  ::shutdown(ends[0], SHUT_WR);
  serveHelperConnection(tool(), Descriptor(ends[1]), {::getuid(), ::getgid(), ::getpid()});
  const auto response = readDictionary(ends[0], std::chrono::steady_clock::now() + std::chrono::seconds(5));
  require(response.has_value(), "no response");
  const bool isVersion = response->find("Version") != response->end();
  require((response->at(kResponseErrorKey).integer() == 0) == isVersion, "something was done");
  return 0;
}
