#include "finder/do_client.h"

#include <cerrno>

#include "finder/do_server.h"
#include "finder/server_path.h"
#include "platform/framed_dictionary.h"
#include "platform/local_socket.h"
#include "platform/system_log.h"

namespace lumisk {
namespace {

constexpr std::chrono::seconds kConnectPatience{5};

Result<Descriptor> serverConnection() {
  LUMISK_TRY(const std::string path, serverSocketPath(kServerName));
  LUMISK_TRY(Descriptor socket, connectTo(path, kConnectPatience));
  if (!isPeerTrusted(socket.get())) return fail("connect", path, EPERM);
  return socket;
}

Result<PropertyList::Dictionary> exchange(int socket, const PropertyList::Dictionary& request, Deadline deadline) {
  LUMISK_CHECK(writeDictionary(socket, request, deadline));
  return readDictionary(socket, deadline);
}

}  // namespace

Result<void> doClient::connect() {
  serverObject_.reset();
  auto connection = serverConnection();
  if (!connection) {
    writeSystemLog("Connect to server failed.");
    return fail(std::move(connection).error());
  }
  serverObject_ = std::move(*connection);
  return {};
}

Result<PropertyList::Dictionary> doClient::request(const PropertyList::Dictionary& request,
                                                   std::chrono::milliseconds patience) {
  if (!serverObject_.isOpen()) return fail("send a request", "", ENOTCONN);
  auto answer = exchange(serverObject_.get(), request, std::chrono::steady_clock::now() + patience);
  if (!answer) serverObject_.reset();  // an answer that comes late would be taken for the next one's
  return answer;
}

int doClient::doLumiskItActions(const PropertyList::Dictionary& request) {
  const auto answer = this->request(request);
  if (!answer) return -1;
  const auto result = answer->find("result");
  return result == answer->end() ? 0 : result->second.integer32();
}

}  // namespace lumisk
