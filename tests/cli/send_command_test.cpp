#include <filesystem>
#include <thread>

#include "cli/command_line_fixture.h"
#include "finder/do_server.h"

namespace lumisk::test {
namespace {

struct Instance : MessageDelegate {
  PropertyList::Dictionary answer{};
  PropertyList::Dictionary request{};
  PropertyList::Dictionary doDelegateMessageEvent(const PropertyList::Dictionary& asked) override {
    request = asked;
    return answer;
  }
};

class SendCommand : public CommandLineFixture {
 protected:
  SendCommand() {
    std::filesystem::permissions(home_.path(), std::filesystem::perms::owner_all);
    setenv("XDG_RUNTIME_DIR", home_.path().c_str(), 1);
  }
  ~SendCommand() override { unsetenv("XDG_RUNTIME_DIR"); }

  Outcome sendTo(Instance& instance, const std::vector<std::string>& arguments) {
    MainLoop loop;
    doServer server(loop);
    server.setDelegate(&instance);
    EXPECT_TRUE(server.startServer());
    Outcome outcome;
    std::thread client([&] {
      outcome = run(arguments);
      loop.quit();
    });
    loop.run();
    client.join();
    return outcome;
  }
};

TEST_F(SendCommand, RunningInstance_GetsAbsolutePathsOfAnyBytes) {
  Instance instance;
  instance.answer = {{"result", 0}};
  EXPECT_EQ(sendTo(instance, {"send", "--action", "102", "--", "docs", "-\xff\n\"$x"}).status, 0);
  const PropertyList::Array paths{work_ / "docs", work_ / "-\xff\n\"$x"};
  EXPECT_EQ(instance.request, (PropertyList::Dictionary{{"action_Type", 102}, {"selected_Array", paths}}));
}

TEST_F(SendCommand, RefusalOrNobodyThere_IsOneLine) {
  Instance instance;
  instance.answer = {{"result", 4}, {"reason", "not today"}};
  const Outcome refused = sendTo(instance, {"send", "--action", "101", "docs"});
  EXPECT_EQ(refused.status, 2);
  EXPECT_EQ(refused.err, "lumisk: send: not today\n");
  const Outcome alone = run({"send", "--action", "101", "docs"});
  EXPECT_EQ(alone.status, 2);
  EXPECT_EQ(alone.err, "lumisk: running instance: there is none; `lumisk daemon` starts one\n");
  EXPECT_EQ(run({"send", "--action", "1001", "docs"}).status, 2);
}

}  // namespace
}  // namespace lumisk::test
