#include "finder/do_server.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

#include "finder/server_path.h"
#include "platform/framed_dictionary.h"
#include "platform/local_socket.h"
#include "platform/system_log.h"

namespace lumisk {
namespace {

using Moment = std::chrono::steady_clock::time_point;
using std::chrono::steady_clock;

// Reads one message or writes one answer, never both, so that nothing gathers for a client that does not read.
struct Connection {
  Descriptor socket;
  FrameReader reader;
  std::string answer{};  // what is left to write
  Moment since{};        // begin of the message or answer that is under way, or of the silence
  MainLoop::SourceHandle ready{};

  [[nodiscard]] bool isBusy() const { return reader.isHalfway() || !answer.empty(); }
};

constexpr std::chrono::milliseconds kLookAround{250};

}  // namespace

struct doServer::State {
  using Connections = std::map<std::uint64_t, Connection>;

  doServer& server;
  MainLoop& loop;
  ServerLimits limits;
  MessageDelegate* delegate = nullptr;
  std::optional<LocalListener> listener{};
  MainLoop::SourceHandle incoming{};  // none while no connection can be taken
  MainLoop::SourceHandle timer{};     // only while there is something to look after
  Connections connections{};
  std::uint64_t lastNumber = 0;

  void listen();
  void acceptOne();
  bool makeRoom();
  void waitForRoom();
  void lookAround();
  void lookAfter();
  void drop(std::uint64_t number);
  void awaitRequest(std::uint64_t number);
  void readOn(std::uint64_t number);
  void serve(std::uint64_t number, const PropertyList::Dictionary& request);
  void writeOn(std::uint64_t number);
};

void doServer::State::listen() {
  if (!incoming) incoming = loop.whenReadable(listener->descriptor(), [this] { acceptOne(); });
}

// The readiness would come back at once for as long as the connection waits: it is not asked for until there is room.
void doServer::State::waitForRoom() {
  incoming.reset();
  lookAfter();
}

void doServer::State::lookAfter() {
  if (!timer) timer = loop.every(kLookAround, [this] { lookAround(); });
}

bool doServer::State::makeRoom() {
  if (connections.size() < limits.connections) return true;
  const auto oldest = std::min_element(connections.begin(), connections.end(), [](const auto& a, const auto& b) {
    return std::pair(a.second.isBusy(), a.second.since) < std::pair(b.second.isBusy(), b.second.since);
  });
  if (oldest->second.isBusy() || steady_clock::now() - oldest->second.since < limits.idle) return false;
  connections.erase(oldest);
  return true;
}

// One in each turn of the loop. A connection that has gone already (ECONNABORTED) is no reason to wait; the lack of
// descriptors or memory is.
void doServer::State::acceptOne() {
  if (!makeRoom()) return waitForRoom();
  auto socket = listener->accept();
  if (!socket) {
    const int code = socket.error().code;
    if (code != EAGAIN && code != EINTR && code != ECONNABORTED) waitForRoom();
    return;
  }
  if (!isPeerTrusted(socket->get())) return;
  const std::uint64_t number = ++lastNumber;
  connections.emplace(number, Connection{std::move(*socket), {}});
  awaitRequest(number);
  lookAfter();
}

void doServer::State::drop(std::uint64_t number) {
  connections.erase(number);
  listen();
}

void doServer::State::lookAround() {
  const Moment now = steady_clock::now();
  std::erase_if(connections,
                [&](const auto& entry) { return entry.second.isBusy() && now - entry.second.since >= limits.message; });
  listen();
  if (connections.empty()) timer.reset();
}

void doServer::State::awaitRequest(std::uint64_t number) {
  Connection& connection = connections.at(number);
  connection.since = steady_clock::now();
  connection.ready = loop.whenReadable(connection.socket.get(), [this, number] { readOn(number); });
}

// One piece in each turn, and never more than the present message needs: what follows stays with the kernel.
void doServer::State::readOn(std::uint64_t number) {
  Connection& connection = connections.at(number);
  std::array<char, 65536> buffer;
  const std::size_t wanted = std::min(connection.reader.missing(), buffer.size());
  const auto received = receiveSome(connection.socket.get(), buffer.data(), wanted);
  if (!received && received.error().code == EAGAIN) return;
  if (!received || *received == 0) return drop(number);
  if (!connection.reader.isHalfway()) connection.since = steady_clock::now();
  std::string_view bytes(buffer.data(), *received);
  const auto request = connection.reader.feed(bytes);
  if (!request) return drop(number);
  if (*request) serve(number, **request);
}

// An answer that cannot be sent closes the connection, because an empty one would mean success.
void doServer::State::serve(std::uint64_t number, const PropertyList::Dictionary& request) {
  auto answer = frameOf(server.doLumiskItActions(request));
  if (!answer) return drop(number);
  const auto found = connections.find(number);
  if (found == connections.end()) return;  // a delegate that asks the user lets the loop turn meanwhile
  Connection& connection = found->second;
  connection.answer = std::move(*answer);
  connection.since = steady_clock::now();
  connection.ready = loop.whenWritable(connection.socket.get(), [this, number] { writeOn(number); });
}

void doServer::State::writeOn(std::uint64_t number) {
  Connection& connection = connections.at(number);
  const auto sent = sendSome(connection.socket.get(), connection.answer);
  if (!sent && sent.error().code == EAGAIN) return;
  if (!sent) return drop(number);
  connection.answer.erase(0, *sent);
  if (connection.answer.empty()) awaitRequest(number);
}

doServer::doServer(MainLoop& loop, const ServerLimits& limits)
    : state_(std::make_unique<State>(State{*this, loop, limits})) {}

doServer::~doServer() = default;

void doServer::setDelegate(MessageDelegate* delegate) {
  state_->delegate = delegate;
}

Result<void> doServer::startServer() {
  return createConnectionName(kServerName);
}

Result<void> doServer::createConnectionName(const std::string& name) {
  LUMISK_TRY(const std::string path, serverSocketPath(name));
  LUMISK_TRY(auto listener, LocalListener::listenAt(path));
  state_->incoming.reset();
  state_->connections.clear();
  state_->listener.emplace(std::move(listener));
  state_->listen();
  return {};
}

PropertyList::Dictionary doServer::doLumiskItActions(const PropertyList::Dictionary& request) {
  if (request.empty()) return {};
  const auto operation = request.find(kOperationKey);
  if (operation != request.end() && operation->second.text() == kFreshCloneOperation)
    return {{"result", doFreshCloneDiscStatus()}};
  return state_->delegate ? state_->delegate->doDelegateMessageEvent(request) : PropertyList::Dictionary{};
}

int doServer::doFreshCloneDiscStatus() {
  writeSystemLog("some things will do in the lumisk!");
  return 0;
}

}  // namespace lumisk
