#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "helper/bas_assert.h"
#include "helper/bas_client.h"
#include "helper/helper_install.h"
#include "helper/install_layout.h"
#include "platform/child_process.h"
#include "platform/durable_file.h"
#include "platform/paths.h"
#include "platform/process.h"

namespace lumisk {
namespace {

// pkexec(1): nobody authenticated, and not authorised.
constexpr int kDismissed = 126;
constexpr int kNotAuthorized = 127;

bool logsInteractions() {
  return std::getenv("BASLogInteractions") != nullptr;
}

// The folder with our other programs: where this one is when it was built, or what an installation has beside it.
std::string bundleFolderWith(const std::string& toolName) {
  const std::string own = paths::parent(process::programPath());
  for (const std::string& folder : {own, paths::parent(own) + "/libexec/lumisk", paths::parent(own) + "/lib/lumisk"})
    if (stampOf(paths::join(folder, toolName))) return folder;
  return {};
}

void logArguments(const std::vector<std::string>& arguments) {
  if (!logsInteractions()) return;
  for (std::size_t i = 0; i < arguments.size(); ++i)
    std::fprintf(stderr, "args[%zd] = %s\n", static_cast<ssize_t>(i), arguments[i].c_str());
}

void logEnd(const std::string& output) {
  long process = 0;
  if (!logsInteractions()) return;
  std::fprintf(stderr, "%s", output.c_str());
  if (std::sscanf(output.c_str(), "cricket<%ld>bat", &process) == 1) std::fprintf(stderr, "childPID=%ld\n", process);
}

OSStatus statusOf(const ChildResult& child) {
  const InstallOutcome outcome = outcomeOfInstall(child.output);
  if (outcome.failure != 0) return BASErrnoToOSStatus(outcome.failure);
  if (outcome.hasShakenHands && child.status == 0) return kNoError;
  if (!outcome.hasShakenHands && child.status == kDismissed) return kAuthorizationCancelled;
  if (!outcome.hasShakenHands && child.status == kNotAuthorized) return kAuthorizationDenied;
  return BASErrnoToOSStatus(EIO);
}

}  // namespace

OSStatus BASFixFailure(const Authorization& authorization, const std::string& bundleIdentifier,
                       const std::string& installToolName, const std::string& helperToolName, BASFailCode failCode) {
  BAS_ASSERT(isBundleIdentifier(bundleIdentifier));
  BAS_ASSERT(!installToolName.empty() && !helperToolName.empty());
  const std::string folder =
      authorization.bundleFolder.empty() ? bundleFolderWith(installToolName) : authorization.bundleFolder;
  if (folder.empty()) return BASErrnoToOSStatus(ENOENT);
  const char* const verb = failCode == BASFailCode::kDaemonNotAnswering ? "enable" : "install";
  ChildRequest request;
  request.arguments = {paths::join(folder, installToolName), verb, bundleIdentifier,
                       paths::join(folder, helperToolName)};
  if (!process::isRoot()) request.arguments.insert(request.arguments.begin(), "pkexec");
  request.sharesTerminal = true;  // where no desktop asks for the password, pkexec asks at the terminal
  request.isGivenUp = authorization.isGivenUp;
  logArguments(request.arguments);
  const auto child = runChild(request);
  if (!child) return BASErrnoToOSStatus(child.error().code);
  logEnd(child->output);
  return statusOf(*child);
}

}  // namespace lumisk
