#include "helper/helper_connection.h"

#include <fmt/format.h>

#include <cerrno>
#include <exception>

#include "helper/bas_dictionary.h"
#include "helper/os_status.h"
#include "platform/local_socket.h"
#include "platform/passed_descriptors.h"
#include "platform/socket_peer.h"

namespace lumisk {
namespace {

Deadline in(std::chrono::milliseconds time) {
  return std::chrono::steady_clock::now() + time;
}

OSStatus readRequest(int connection, PropertyList::Dictionary& request, Deadline deadline) {
  if (const int code = readAuthorization(connection, deadline); code != 0) return BASErrnoToOSStatus(code);
  return BASErrnoToOSStatus(BASReadDictionary(connection, request, deadline));
}

// What a procedure throws is an error of this request.
OSStatus callProcedure(const CommandProc& procedure, const HelperRequest& request, HelperResponse& response) {
  try {
    return procedure(request, response);
  } catch (const std::exception&) {
    return BASErrnoToOSStatus(EIO);
  }
}

OSStatus carryOut(const HelperTool& tool, int connection, const HelperRequest& request, const CommandSpec& command,
                  HelperResponse& response) {
  const auto procedure = tool.procedures.find(command.commandName);
  if (procedure == tool.procedures.end()) return BASErrnoToOSStatus(ENOSYS);
  if (!command.rightName.empty()) {
    if (const OSStatus refused = tool.services.acquireRight(request.peer, command); refused != kNoError) return refused;
  }
  // Somebody may have been asked for a password meanwhile; whoever has gone since has changed his mind.
  if (isPeerGone(connection)) return BASErrnoToOSStatus(ECANCELED);
  return callProcedure(procedure->second, request, response);
}

PropertyList::Dictionary responseDictionary(HelperResponse& response, OSStatus error) {
  PropertyList::Dictionary dictionary = std::move(response.dictionary);
  dictionary[kResponseErrorKey] = error;
  if (response.descriptors.empty()) return dictionary;
  PropertyList::Array numbers;
  for (const Descriptor& one : response.descriptors) numbers.emplace_back(one.get());
  dictionary[kResponseDescriptorsKey] = std::move(numbers);
  return dictionary;
}

int sendResponse(int connection, HelperResponse& response, OSStatus error, Deadline deadline) {
  const PropertyList::Dictionary dictionary = responseDictionary(response, error);
  if (const int code = BASWriteDictionary(dictionary, connection, deadline); code != 0) return code;
  if (response.descriptors.empty()) return 0;
  std::vector<int> numbers;
  for (const Descriptor& one : response.descriptors) numbers.push_back(one.get());
  const auto sent = sendDescriptors(connection, numbers, deadline);
  return sent ? 0 : sent.error().code;
}

// A name that is no command's comes from outside and is not repeated.
std::string lineAbout(const HelperPeer& peer, const CommandSpec* command, OSStatus error) {
  return fmt::format("user {}, process {}, asked for {}: {}", peer.user, peer.process,
                     command ? command->commandName : "no command", error);
}

}  // namespace

void serveHelperConnection(const HelperTool& tool, Descriptor connection, const HelperPeer& peer) {
  PropertyList::Dictionary dictionary;
  HelperResponse response;
  const CommandSpec* command = nullptr;
  OSStatus error = readRequest(connection.get(), dictionary, in(tool.limits.request));
  if (error == kNoError) {
    const auto name = dictionary.find(kRequestCommandKey);
    if (name != dictionary.end()) command = findCommand(tool.commands, name->second.text());
    error =
        command ? carryOut(tool, connection.get(), {dictionary, peer}, *command, response) : BASErrnoToOSStatus(EINVAL);
  }
  tool.services.log(lineAbout(peer, command, error));
  const int sent = sendResponse(connection.get(), response, error, in(tool.limits.request));
  connection.reset();
  response.descriptors.clear();
  if (sent != 0) {
    tool.services.log(fmt::format("process {} did not take its response: {}", peer.process, sent));
  } else if (response.afterwards) {
    response.afterwards();
  }
}

void refuseHelperConnection(Descriptor connection) {
  // There is room in a connection that has carried nothing yet; whoever has gone misses nothing.
  const auto frame = frameOf({{kResponseErrorKey, BASErrnoToOSStatus(EAGAIN)}});
  if (!frame || !sendSome(connection.get(), *frame)) return;
}

}  // namespace lumisk
