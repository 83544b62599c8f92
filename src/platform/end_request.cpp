#include "platform/end_request.h"

#include <signal.h>

namespace lumisk {
namespace {

std::atomic<bool> endIsRequested{false};

void noteEnd(int) {
  endIsRequested.store(true);
}

}  // namespace

const std::atomic<bool>& noteEndRequests() {
  struct sigaction action {};
  action.sa_handler = noteEnd;
  action.sa_flags = SA_RESTART;
  for (const int signal : {SIGTERM, SIGINT}) ::sigaction(signal, &action, nullptr);
  return endIsRequested;
}

}  // namespace lumisk
