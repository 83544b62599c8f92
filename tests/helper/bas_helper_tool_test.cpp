#include "helper/bas_helper_tool.h"

#include <sys/types.h>

#include <cerrno>

#include "helper/os_status.h"
#include "helper_tool_fixture.h"
#include "platform/passed_descriptors.h"
#include "platform/socket_peer.h"

namespace lumisk {
namespace {

using namespace test;

const std::map<std::string, CommandProc> kVersionOnly{
    {kGetVersionCommand, [](const HelperRequest&, HelperResponse& response) {
       response.dictionary["version"] = 7;
       return 0;
     }}};

std::string authorized(const std::string& bytes) {
  return std::string(kAuthorizationSize, '\0') + bytes;
}

std::string frame(std::uint32_t length, const std::string& body) {
  std::string bytes(sizeof(length), '\0');
  std::memcpy(bytes.data(), &length, sizeof(length));
  return bytes + body;
}

std::string request(const std::string& command) {
  return authorized(*frameOf({{kRequestCommandKey, command}}));
}

// A request whose property list has exactly this many bytes.
std::string requestOfSize(std::size_t size) {
  std::string body = *propertyListToXml(PropertyList::Dictionary{{kRequestCommandKey, kGetVersionCommand}});
  body.insert(body.rfind("</plist>"), size - body.size(), '\n');
  return authorized(frame(static_cast<std::uint32_t>(size), body));
}

void send(const Descriptor& connection, const std::string& bytes) {
  // A helper that has heard enough closes; that is no matter of the sender.
  if (BASWrite(connection.get(), bytes.data(), bytes.size(), soon()) != 0) return;
}

PropertyList::Dictionary answerOn(const Descriptor& connection) {
  PropertyList::Dictionary answer;
  EXPECT_EQ(BASReadDictionary(connection.get(), answer, soon()), 0);
  return answer;
}

PropertyList::Dictionary answerTo(const RunningHelper& helper, const std::string& bytes) {
  const Descriptor connection = helper.connect();
  send(connection, bytes);
  return answerOn(connection);
}

std::int64_t errorOf(const PropertyList::Dictionary& answer) {
  const auto error = answer.find(kResponseErrorKey);
  return error == answer.end() ? -1 : error->second.integer();
}

TEST(HelperTool, RequestsOfEverySizeAndShape_GetTheirCodes) {
  const RunningHelper helper(kVersionOnly);
  const auto codeOf = [&](const std::string& bytes) { return errorOf(answerTo(helper, bytes)); };

  EXPECT_EQ(answerTo(helper, request(kGetVersionCommand)).at("version").integer(), 7);
  EXPECT_EQ(codeOf(requestOfSize(1'048'576)), 0);
  EXPECT_EQ(codeOf(requestOfSize(1'048'577)), 22);
  EXPECT_EQ(codeOf(authorized(frame(0, ""))), 22);
  EXPECT_EQ(codeOf(authorized(frame(0xFFFFFFFF, "<"))), 22);
  EXPECT_EQ(codeOf(authorized(frame(40, "bplist00" + std::string(32, '\0')))), -4960);
  EXPECT_EQ(codeOf(authorized(frame(5, "<?xml"))), -4960);
  EXPECT_EQ(codeOf(std::string(kAuthorizationSize, 'x') + request("GetVersion")), EBADMSG);
  EXPECT_EQ(codeOf(request("Reboot")), 22);
  EXPECT_EQ(codeOf(request(kLowNumberedPortsCommand)), ENOSYS);
}

TEST(HelperTool, ClientsThatAreSlowOrGoAway_KeepNobodyElseWaiting) {
  HelperLimits limits;
  limits.request = 300ms;
  const RunningHelper helper(kVersionOnly, limits);
  static_cast<void>(helper.connect());         // gone at once
  send(helper.connect(), authorized("\x05"));  // gone in the middle of a length
  const Descriptor silent = helper.connect();  // says nothing
  const Descriptor slow = helper.connect();    // says one byte after the other
  const std::string bytes = request(kGetVersionCommand);
  EXPECT_EQ(answerTo(helper, bytes).at("version").integer(), 7);
  for (std::size_t i = 0; i < bytes.size() && !isPeerGone(slow.get()); ++i) {
    send(slow, bytes.substr(i, 1));
    std::this_thread::sleep_for(20ms);
  }
  EXPECT_EQ(errorOf(answerOn(slow)), ETIMEDOUT);
  EXPECT_EQ(errorOf(answerOn(silent)), ETIMEDOUT);
}

TEST(HelperTool, ThousandClients_AreRefusedBeyondTheLimitAndServedAgainAfterwards) {
  HelperLimits limits;
  limits.connectionsOfOneUser = 3;
  const RunningHelper helper(kVersionOnly, limits);
  std::vector<Descriptor> clients;
  for (int i = 0; i < 1000; ++i) clients.push_back(helper.connect());
  const auto refused = std::count_if(clients.begin() + 3, clients.end(),
                                     [](const Descriptor& client) { return errorOf(answerOn(client)) == EAGAIN; });
  EXPECT_EQ(refused, 997);
  clients.clear();
  EXPECT_TRUE(becomesTrue([&] { return errorOf(answerTo(helper, request(kGetVersionCommand))) == 0; }));
}

TEST(HelperTool, DescriptorOfAResponse_HangsUpWhenWhatServesItIsKilled) {
  const RunningHelper helper({{kCloneCommand, [](const HelperRequest& asked, HelperResponse& response) {
                                 EXPECT_EQ(asked.peer.user, ::getuid());
                                 Pipe pipe = *makePipe();
                                 response.descriptors.push_back(std::move(pipe.reading));
                                 response.dictionary["process"] = static_cast<std::int64_t>(::getpid());
                                 response.afterwards = [held = std::make_shared<Descriptor>(std::move(pipe.writing))] {
                                   ::pause();
                                 };
                                 return 0;
                               }}});
  const Descriptor connection = helper.connect();
  send(connection, request(kCloneCommand));
  PropertyList::Dictionary answer = answerOn(connection);
  ASSERT_EQ(answer[kResponseDescriptorsKey].array().size(), 1U);
  const auto passed = receiveDescriptors(connection.get(), 1, soon());
  ASSERT_TRUE(passed);
  EXPECT_FALSE(hasHungUp(passed->front().get()));

  ::kill(static_cast<pid_t>(answer["process"].integer()), SIGKILL);

  EXPECT_TRUE(becomesTrue([&] { return hasHungUp(passed->front().get()); }));
  EXPECT_EQ(errorOf(answerTo(helper, request(kLowNumberedPortsCommand))), ENOSYS);
}

TEST(HelperTool, RightThatIsRefusedOrComesTooLate_CarriesNothingOut) {
  TempTree tree;
  const std::map<std::string, CommandProc> writing{{kCloneCommand, [&](const HelperRequest&, HelperResponse&) {
                                                      writeFile(tree / "done", "");
                                                      return 0;
                                                    }}};
  {
    const RunningHelper refusing(writing, {}, [] { return kAuthorizationDenied; });
    EXPECT_EQ(errorOf(answerTo(refusing, request(kCloneCommand))), kAuthorizationDenied);
  }
  const RunningHelper waiting(writing, {}, [&] {
    writeFile(tree / "asked", "");
    return becomesTrue([&] { return exists(tree / "gone"); }) ? 0 : kAuthorizationDenied;
  });
  Descriptor connection = waiting.connect();
  send(connection, request(kCloneCommand));
  ASSERT_TRUE(becomesTrue([&] { return exists(tree / "asked"); }));
  connection.reset();
  writeFile(tree / "gone", "");
  EXPECT_EQ(errorOf(answerTo(waiting, request(kLowNumberedPortsCommand))), ENOSYS);
  EXPECT_FALSE(exists(tree / "done"));
}

TEST(HelperTool, NobodyAsksForAWhile_ItEnds) {
  HelperLimits limits;
  limits.idleLife = 20ms;
  RunningHelper helper(kVersionOnly, limits);
  EXPECT_EQ(helper.waitForEnd(), 0);
}

}  // namespace
}  // namespace lumisk
