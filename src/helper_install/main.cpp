// LumiskHelperInstall install|enable BUNDLE-IDENTIFIER TOOL-PATH
//
// Puts the root helper and its descriptions in place and has its socket opened; run as root. $DESTDIR stands for "/";
// then nothing is started. Prints a handshake and, when it failed, the code; the exit status is 0 or 1.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "helper/helper_install.h"
#include "platform/file_calls.h"
#include "platform/process.h"
#include "platform/program_start.h"

namespace {

using namespace lumisk;

void say(const std::string& line) {
  std::fputs(line.c_str(), stdout);
  std::fflush(stdout);
}

Result<void> carryOut(int count, char** arguments) {
  const std::string verb = count == 4 ? arguments[1] : "";
  if (verb != "install" && verb != "enable")
    return fail("understand", verb, EINVAL, "give install or enable, a bundle identifier and the path of the tool");
  const char* const destination = std::getenv("DESTDIR");
  InstallOrder order;
  order.kind = verb == "install" ? InstallOrder::Kind::kInstall : InstallOrder::Kind::kEnable;
  order.bundleIdentifier = arguments[2];
  order.toolPath = arguments[3];
  order.destination = destination ? destination : "";
  return carryOutInstall(realFileCalls(), order);
}

}  // namespace

int main(int count, char** arguments) {
  programStart::openMissingStreams();
  say(installHandshake(process::ownNumber()));
  const auto done = carryOut(count, arguments);
  if (done) return EXIT_SUCCESS;
  std::fprintf(stderr, "LumiskHelperInstall: %s\n", done.error().text().c_str());
  say(installFailure(done.error().code));
  return EXIT_FAILURE;
}
