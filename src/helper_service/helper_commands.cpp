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

const PropertyList& valueOf(const HelperRequest& request, const char* key) {
  static const PropertyList kMissing;
  const auto found = request.dictionary.find(key);
  return found == request.dictionary.end() ? kMissing : found->second;
}

JobOwner ownerOf(const HelperRequest& request) {
  return {request.peer.user, request.peer.group};
}

OSStatus cloneForPeer(const CloneTask::Seams& seams, const HelperRequest& request, HelperResponse& response) {
  auto job = openCloneJob(valueOf(request, kXMLPathKey).text(), ownerOf(request));
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

OSStatus mountForPeer(const ImageMounts& mounts, const LogLine& log, const HelperRequest& request,
                      HelperResponse& response) {
  const std::string blocks = valueOf(request, kBlocksPathKey).text();
  const auto place = mounts.mount(blocks, valueOf(request, kVolumeNameKey).text(), ownerOf(request));
  log(displayText(
      fmt::format("mounting {} for user {}: {}", blocks, request.peer.user, place ? *place : place.error().text())));
  if (!place) return statusOf(place.error());
  response.dictionary[kMountPointKey] = *place;
  return kNoError;
}

OSStatus unmountForPeer(const ImageMounts& mounts, const LogLine& log, const HelperRequest& request) {
  const std::string place = valueOf(request, kMountPointKey).text();
  const Detach detach = valueOf(request, kAtOnceKey).boolean() ? Detach::kAtOnce : Detach::kWhenUnused;
  const auto done = mounts.unmount(place, detach, ownerOf(request));
  if (!done) log(displayText(fmt::format("for user {}: {}", request.peer.user, done.error().text())));
  return done ? kNoError : statusOf(done.error());
}

}  // namespace

std::map<std::string, CommandProc> helperProcedures(const CloneTask::Seams& seams, const ImageMounts& mounts) {
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
      {kMountImageCommand,
       [mounts, log = seams.log](const HelperRequest& request, HelperResponse& response) {
         return mountForPeer(mounts, log, request, response);
       }},
      {kUnmountImageCommand,
       [mounts, log = seams.log](const HelperRequest& request, HelperResponse&) {
         return unmountForPeer(mounts, log, request);
       }},
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
