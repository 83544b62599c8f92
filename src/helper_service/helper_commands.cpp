#include "helper_service/helper_commands.h"

#include <fmt/format.h>

#include <cerrno>
#include <chrono>
#include <memory>

#include "platform/byte_text.h"
#include "platform/polkit_authority.h"

namespace lumisk {
namespace {

constexpr std::chrono::minutes kPatience{2};  // for somebody who types a password

OSStatus statusOf(const Error& error) {
  return BASErrnoToOSStatus(error.code == 0 ? EIO : error.code);
}

OSStatus refused(const HelperPeer& peer, const Error& why, const LogLine& log) {
  log(fmt::format("refused to clone for user {}: {}", peer.user, displayText(why.text())));
  return statusOf(why);
}

OSStatus cloneForPeer(const CloneTask::Seams& seams, const HelperRequest& request, HelperResponse& response) {
  const auto path = request.dictionary.find(kXMLPathKey);
  if (path == request.dictionary.end()) return BASErrnoToOSStatus(EINVAL);
  auto job = openCloneJob(path->second.text(), {request.peer.user, request.peer.group});
  if (!job) return refused(request.peer, job.error(), seams.log);
  auto prepared = CloneTask::prepare(*job, seams);
  if (!prepared) {
    writeRefusal(*job, prepared.error(), seams.log);
    return refused(request.peer, prepared.error(), seams.log);
  }
  const auto task = std::make_shared<CloneTask>(std::move(*prepared));
  response.descriptors.push_back(task->takeAlive());
  response.afterwards = [task] { task->run(); };
  return kNoError;
}

}  // namespace

std::map<std::string, CommandProc> helperProcedures(const CloneTask::Seams& seams) {
  return {
      {kGetVersionCommand,
       [](const HelperRequest&, HelperResponse& response) {
         response.dictionary["Version"] = kHelperVersion;
         return kNoError;
       }},
      {kCloneCommand, [seams](const HelperRequest& request,
                              HelperResponse& response) { return cloneForPeer(seams, request, response); }},
      // Opens nothing: no part of the application needs a port.
      {kLowNumberedPortsCommand, [](const HelperRequest&, HelperResponse&) { return BASErrnoToOSStatus(ENOTSUP); }},
  };
}

OSStatus acquireRightFromPolkit(const HelperPeer& peer, const CommandSpec& command, const LogLine& log) {
  const std::string action = policyActionOf(command.rightName, kBundleIdentifier);
  const auto answer = polkit::check({peer.process, peer.user}, action, kPatience);
  if (!answer) {
    log(displayText(answer.error().text()));
    return answer.error().code == ETIMEDOUT ? BASErrnoToOSStatus(ETIMEDOUT) : kAuthorizationDenied;
  }
  switch (*answer) {
    case polkit::Answer::kGranted:
      return kNoError;
    case polkit::Answer::kDismissed:
      return kAuthorizationCancelled;
    case polkit::Answer::kDenied:
    case polkit::Answer::kNobodyToAsk:
      break;
  }
  return kAuthorizationDenied;
}

}  // namespace lumisk
