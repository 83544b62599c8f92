#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <thread>

#include "finder/do_client.h"
#include "finder/do_server.h"
#include "finder/server_path.h"
#include "platform/framed_dictionary.h"
#include "platform/local_socket.h"
#include "support/own_home.h"
#include "support/result_code.h"
#include "support/temp_tree.h"

namespace lumisk {
namespace {

using test::OwnHome;
using test::TempTree;
using namespace std::chrono_literals;

constexpr auto kGenerous = 60s;

Deadline generously() {
  return std::chrono::steady_clock::now() + kGenerous;
}

struct Echo : MessageDelegate {
  int requests = 0;
  PropertyList::Dictionary doDelegateMessageEvent(const PropertyList::Dictionary& request) override {
    ++requests;
    auto answer = request;
    answer["result"] = 7;
    return answer;
  }
};

// A home and a runtime folder of the test's own, and a server on the main thread; the clients are on another one.
class MessageServer : public ::testing::Test {
 protected:
  MessageServer() {
    std::filesystem::permissions(folder_.path(), std::filesystem::perms::owner_all);
    setenv("XDG_RUNTIME_DIR", folder_.path().c_str(), 1);
  }
  ~MessageServer() override { unsetenv("XDG_RUNTIME_DIR"); }

  static std::string path() { return serverSocketPath(kServerName).value(); }
  static Descriptor connection() { return connectTo(path(), kGenerous).value(); }

  void serve(const std::function<void()>& clients, const ServerLimits& limits = {}) {
    doServer server(loop_, limits);
    server.setDelegate(&echo_);
    ASSERT_TRUE(server.startServer());
    std::thread other([&] {
      clients();
      loop_.quit();
    });
    loop_.run();
    other.join();
  }

  static void expectServed() {
    doClient client;
    ASSERT_TRUE(client.connect());
    EXPECT_EQ(client.doLumiskItActions({{"action_Type", 101}}), 7);
  }
  static void send(int socket, std::string_view bytes) {
    while (!bytes.empty()) {
      if (!waitForSocket(socket, SocketEvent::kWritable, generously())) return;
      const auto sent = sendSome(socket, bytes);
      if (!sent && sent.error().code != EAGAIN) return;
      if (sent) bytes.remove_prefix(*sent);
    }
  }
  // Whether the server closes the connection, whatever it says before.
  static bool isClosed(int socket) {
    char buffer[4096];
    while (waitForSocket(socket, SocketEvent::kReadable, generously())) {
      const auto received = receiveSome(socket, buffer, sizeof(buffer));
      if (!received ? received.error().code != EAGAIN : *received == 0) return true;
    }
    return false;
  }

  TempTree folder_;
  OwnHome home_{folder_.path()};
  MainLoop loop_;
  Echo echo_;
};

std::string header(std::uint32_t length) {
  std::string bytes(sizeof(length), '\0');
  std::memcpy(bytes.data(), &length, sizeof(length));
  return bytes;
}

// A dictionary whose property list is exactly so many bytes long.
PropertyList::Dictionary dictionaryOfSize(std::size_t size) {
  const std::size_t bare = propertyListToXml(PropertyList::Dictionary{{"k", "x"}}).value().size() - 1;
  return {{"k", std::string(size - bare, 'x')}};
}

TEST_F(MessageServer, Requests_AreAnsweredAsOftenAsTheClientLikes) {
  serve([] {
    doClient client;
    ASSERT_TRUE(client.connect());
    const PropertyList path(std::string("/a\xff\n\"b"));
    for (int i = 0; i < 3; ++i) {
      const auto answer = client.request({{"selected_Array", PropertyList::Array{path}}});
      ASSERT_TRUE(answer) << answer.error().text();
      EXPECT_EQ(answer->at("selected_Array").at(0), path);
    }
    EXPECT_EQ(client.request({}).value(), PropertyList::Dictionary{});
    EXPECT_EQ(client.request({{kOperationKey, kFreshCloneOperation}}).value().at("result").integer(), 0);
  });
  EXPECT_EQ(echo_.requests, 3);  // the empty one and the clone's do not reach the delegate
}

TEST_F(MessageServer, NobodyServes_ClientFails) {
  doClient client;
  EXPECT_EQ(test::codeOf(client.connect()), ENOENT);
  EXPECT_EQ(client.doLumiskItActions({{"action_Type", 101}}), -1);
}

TEST_F(MessageServer, SecondServer_IsRefusedWhileTheFirstLives) {
  {
    doServer first(loop_);
    ASSERT_TRUE(first.startServer());
    struct stat status {};
    ASSERT_EQ(::stat(path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    for (const bool isLockThere : {true, false}) {
      if (!isLockThere) std::filesystem::remove(path() + ".lock");
      doServer second(loop_);
      EXPECT_EQ(test::codeOf(second.startServer()), EADDRINUSE);
      EXPECT_TRUE(test::exists(path()));
    }
  }
  EXPECT_FALSE(test::exists(path()));
  serve(expectServed);
}

TEST_F(MessageServer, SocketOfADeadProcess_IsTakenOver) {
  const pid_t child = ::fork();
  if (child == 0) {
    auto* const server = new doServer(loop_);
    ::_exit(server->startServer() ? 0 : 1);  // without a farewell
  }
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_EQ(status, 0);
  ASSERT_TRUE(test::exists(path()));
  serve(expectServed);
}

TEST_F(MessageServer, FileInPlaceOfTheSocket_Stays) {
  test::writeFile(path(), "precious");
  doServer server(loop_);
  EXPECT_FALSE(server.startServer());
  EXPECT_EQ(test::readFile(path()), "precious");
}

// What is wrong with a client costs it its connection, and nobody else anything.
TEST_F(MessageServer, MalformedMessages_CloseTheirConnectionOnly) {
  const std::string binary = "bplist00";
  const std::string array = propertyListToXml(PropertyList::Array{}).value();
  serve([&] {
    for (const std::string& bytes : {header(0), header(kLargestFrame + 1), header(0xFFFFFFFFU), header(8) + binary,
                                     header(4) + "junk", header(static_cast<std::uint32_t>(array.size())) + array}) {
      const Descriptor bad = connection();
      send(bad.get(), bytes);
      EXPECT_TRUE(isClosed(bad.get()));
    }
    expectServed();
  });
  EXPECT_EQ(echo_.requests, 1);
}

TEST_F(MessageServer, HalfSentMessagesAndClientsThatDoNotRead_AreDroppedInTime) {
  const std::string large = frameOf(dictionaryOfSize(kLargestFrame / 2)).value();
  serve(
      [&] {
        const Descriptor half = connection(), deaf = connection();
        send(half.get(), header(1000) + "<?xml");
        send(deaf.get(), large);
        expectServed();
        EXPECT_TRUE(isClosed(half.get()));
        // Without a byte read, until the server hangs up.
        for (auto sent = sendSome(deaf.get(), "x"); sent || sent.error().code == EAGAIN;
             sent = sendSome(deaf.get(), "x"))
          std::this_thread::yield();
      },
      {.message = 100ms});
}

TEST_F(MessageServer, ThousandsOfQuickConnections_AreSurvived) {
  serve([&] {
    for (int i = 0; i < 10'000; ++i) {
      const Descriptor quick = connection();
      if (i % 3 == 0) send(quick.get(), header(100) + "<");
      if (i % 3 == 1) send(quick.get(), frameOf({{"a", 1}}).value());  // and gone before the answer
    }
    expectServed();
  });
}

TEST_F(MessageServer, SilentClientsAtTheLimit_MakeRoom) {
  serve(
      [&] {
        std::vector<Descriptor> silent;
        for (int i = 0; i < 10; ++i) silent.push_back(connection());
        expectServed();
        EXPECT_TRUE(isClosed(silent.front().get()));
      },
      {.connections = 4, .idle = 1ms});
}

TEST_F(MessageServer, OtherUsers_AreNotServed) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can be another user";
  const std::string socket = path();
  serve([&] {
    std::filesystem::permissions(folder_.path(), std::filesystem::perms::all);
    std::filesystem::permissions(socket, std::filesystem::perms::all);
    const pid_t child = ::fork();
    if (child == 0) {
      if (::setuid(65534) != 0) ::_exit(2);
      const auto stranger = connectTo(socket, kGenerous);
      if (!stranger) ::_exit(3);
      send(stranger->get(), frameOf({{"action_Type", 101}}).value());
      ::_exit(readDictionary(stranger->get(), generously()) ? 1 : 0);
    }
    int status = -1;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    std::filesystem::permissions(folder_.path(), std::filesystem::perms::owner_all);
    expectServed();
  });
  EXPECT_EQ(echo_.requests, 1);
}

TEST_F(MessageServer, NoDescriptorsLeft_ServesAgainLater) {
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  serve([&] {
    const Descriptor waiting = connection();
    const auto answered = frameOf({{"a", 1}}).value();
    send(waiting.get(), answered);
    EXPECT_TRUE(readDictionary(waiting.get(), generously()));
    Descriptor late(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const rlimit none{static_cast<rlim_t>(late.get()), before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    sockaddr_storage address{};
    address.ss_family = AF_UNIX;
    std::memcpy(reinterpret_cast<char*>(&address) + sizeof(sa_family_t), path().c_str(), path().size());
    EXPECT_EQ(::connect(late.get(), reinterpret_cast<sockaddr*>(&address), 110), 0);
    send(waiting.get(), answered);  // others are served meanwhile
    EXPECT_TRUE(readDictionary(waiting.get(), generously()));
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    send(late.get(), answered);
    EXPECT_TRUE(readDictionary(late.get(), generously()));
  });
}

TEST_F(MessageServer, RuntimeFolderThatOthersCanWrite_IsNotUsed) {
  std::filesystem::permissions(folder_.path(), std::filesystem::perms::all);
  EXPECT_FALSE(runtimeFolder().value().starts_with(folder_.path()));
  EXPECT_FALSE(serverSocketPath("a/b"));
  std::filesystem::permissions(folder_.path(), std::filesystem::perms::owner_all);
  doServer server(loop_);
  EXPECT_EQ(test::codeOf(server.createConnectionName(std::string(100, 'n'))), ENAMETOOLONG);
}

TEST(FramedDictionary, LargestFrame_PassesAndOneMoreByteDoesNot) {
  const auto largest = dictionaryOfSize(kLargestFrame);
  const auto frame = frameOf(largest);
  ASSERT_TRUE(frame);
  ASSERT_EQ(frame->size(), kLargestFrame + 4U);
  FrameReader reader;
  std::string_view bytes = *frame;
  EXPECT_EQ(reader.feed(bytes).value(), largest);
  EXPECT_EQ(frameOf(dictionaryOfSize(kLargestFrame + 1)).error().code, EINVAL);
}

}  // namespace
}  // namespace lumisk
