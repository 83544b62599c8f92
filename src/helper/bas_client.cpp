#include "helper/bas_client.h"

#include <cerrno>

#include "helper/bas_assert.h"
#include "helper/bas_dictionary.h"
#include "helper/install_layout.h"
#include "platform/durable_file.h"
#include "platform/local_socket.h"
#include "platform/passed_descriptors.h"

namespace lumisk {
namespace {

using namespace std::chrono_literals;

constexpr auto kConnectPatience = 10s;
constexpr auto kTransferPatience = 30s;
constexpr auto kAnswerPatience = 10min;  // somebody may have to find a password
constexpr auto kBetweenLooks = 200ms;

Deadline in(std::chrono::milliseconds time) {
  return std::chrono::steady_clock::now() + time;
}

std::string socketPathOf(const Authorization& authorization, const std::string& bundleIdentifier) {
  return authorization.socketPath.empty() ? helperSocketPath(bundleIdentifier) : authorization.socketPath;
}

int sendRequest(int connection, const PropertyList::Dictionary& request) {
  const Deadline deadline = in(kTransferPatience);
  if (const int code = writeAuthorization(connection, deadline); code != 0) return code;
  return BASWriteDictionary(request, connection, deadline);
}

int waitForAnswer(int connection, const std::function<bool()>& isGivenUp) {
  const Deadline end = in(kAnswerPatience);
  while (std::chrono::steady_clock::now() < end) {
    const auto ready = waitForSocket(connection, SocketEvent::kReadable, in(kBetweenLooks));
    if (ready) return 0;
    if (ready.error().code != ETIMEDOUT) return ready.error().code;
    if (isGivenUp && isGivenUp()) return ECANCELED;
  }
  return ETIMEDOUT;
}

int receiveDescriptorsOf(int connection, HelperAnswer& answer, Deadline deadline) {
  const auto announced = answer.dictionary.find(kResponseDescriptorsKey);
  if (announced == answer.dictionary.end()) return 0;
  const std::size_t count = announced->second.array().size();
  answer.dictionary.erase(announced);
  if (count == 0) return 0;
  auto received = receiveDescriptors(connection, count, deadline);
  if (!received) return received.error().code;
  answer.descriptors = std::move(*received);
  PropertyList::Array numbers;
  for (const Descriptor& one : answer.descriptors) numbers.emplace_back(one.get());
  answer.dictionary[kResponseDescriptorsKey] = std::move(numbers);
  return 0;
}

int receiveAnswer(int connection, HelperAnswer& answer) {
  const Deadline deadline = in(kTransferPatience);
  if (const int code = BASReadDictionary(connection, answer.dictionary, deadline); code != 0) return code;
  return receiveDescriptorsOf(connection, answer, deadline);
}

// A helper that has too much to do answers before it has been asked and closes; that answer says why nothing could be
// sent.
int exchange(int connection, const PropertyList::Dictionary& request, const std::function<bool()>& isGivenUp,
             HelperAnswer& answer) {
  const int notSent = sendRequest(connection, request);
  if (notSent == 0) {
    if (const int code = waitForAnswer(connection, isGivenUp); code != 0) return code;
  }
  const int notReceived = receiveAnswer(connection, answer);
  return notReceived != 0 && notSent != 0 ? notSent : notReceived;
}

}  // namespace

OSStatus BASSetDefaultRules(const Authorization&, const std::vector<CommandSpec>& commands,
                            const std::string& bundleIdentifier, const std::string& promptTable) {
  checkCommands(commands);
  BAS_ASSERT(isBundleIdentifier(bundleIdentifier));
  BAS_ASSERT(!promptTable.empty());
  return kNoError;
}

OSStatus BASExecuteRequestInHelperTool(const Authorization& authorization, const std::vector<CommandSpec>& commands,
                                       const std::string& bundleIdentifier, const PropertyList::Dictionary& request,
                                       HelperAnswer& response) {
  checkCommands(commands);
  const auto name = request.find(kRequestCommandKey);
  if (name == request.end() || !findCommand(commands, name->second.text())) return BASErrnoToOSStatus(EINVAL);
  const auto connection = connectTo(socketPathOf(authorization, bundleIdentifier), kConnectPatience);
  if (!connection) return BASErrnoToOSStatus(connection.error().code);
  return BASErrnoToOSStatus(exchange(connection->get(), request, authorization.isGivenUp, response));
}

OSStatus BASGetErrorFromResponse(const PropertyList::Dictionary& response) {
  const auto error = response.find(kResponseErrorKey);
  return error == response.end() ? kNoError : error->second.integer32();
}

bool isHelperInstalled(const Authorization& authorization, const std::string& bundleIdentifier) {
  return stampOf(authorization.root + helperToolPath(bundleIdentifier)).has_value();
}

BASFailCode BASDiagnoseFailure(const Authorization& authorization, const std::string& bundleIdentifier) {
  if (!isHelperInstalled(authorization, bundleIdentifier)) return BASFailCode::kNotInstalled;
  const auto connection = connectTo(socketPathOf(authorization, bundleIdentifier), kConnectPatience);
  return connection ? BASFailCode::kInstalledButFailing : BASFailCode::kDaemonNotAnswering;
}

}  // namespace lumisk
