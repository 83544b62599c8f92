// Against a service of our own on a private session bus: run below dbus-run-session.
#include "platform/desktop_notifications.h"

#include <gio/gio.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "platform/main_loop.h"

namespace lumisk {
namespace {

constexpr const char* kInterface =
    "<node><interface name='org.freedesktop.Notifications'>"
    "<method name='Notify'><arg type='s' direction='in'/><arg type='u' direction='in'/><arg type='s' direction='in'/>"
    "<arg type='s' direction='in'/><arg type='s' direction='in'/><arg type='as' direction='in'/>"
    "<arg type='a{sv}' direction='in'/><arg type='i' direction='in'/><arg type='u' direction='out'/></method>"
    "<signal name='ActionInvoked'><arg type='u'/><arg type='s'/></signal></interface></node>";

struct Call {
  std::uint32_t replaces = 0;
  std::string title, body;
  int urgency = -1;
};

// The desktop's side, on a connection of its own.
class FakeService {
 public:
  FakeService() {
    gchar* const address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
    const auto flags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                         G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    bus_ = g_dbus_connection_new_for_address_sync(address, flags, nullptr, nullptr, nullptr);
    g_free(address);
    node_ = g_dbus_node_info_new_for_xml(kInterface, nullptr);
    static const GDBusInterfaceVTable table{&FakeService::called, nullptr, nullptr, {}};
    g_dbus_connection_register_object(bus_, "/org/freedesktop/Notifications", node_->interfaces[0], &table, this,
                                      nullptr, nullptr);
    GVariant* const answer =
        g_dbus_connection_call_sync(bus_, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                    "RequestName", g_variant_new("(su)", "org.freedesktop.Notifications", 0U), nullptr,
                                    G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    g_variant_unref(answer);
  }
  ~FakeService() {
    g_dbus_connection_close_sync(bus_, nullptr, nullptr);
    g_object_unref(bus_);
    g_dbus_node_info_unref(node_);
  }
  void click(std::uint32_t number) {
    g_dbus_connection_emit_signal(bus_, nullptr, "/org/freedesktop/Notifications", "org.freedesktop.Notifications",
                                  "ActionInvoked", g_variant_new("(us)", number, "default"), nullptr);
  }
  std::vector<Call> calls;

 private:
  static void called(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*, GVariant* parameters,
                     GDBusMethodInvocation* invocation, gpointer self) {
    auto& service = *static_cast<FakeService*>(self);
    const gchar *title, *body;
    Call call;
    GVariant* hints = nullptr;
    g_variant_get(parameters, "(&su&s&s&sas@a{sv}i)", nullptr, &call.replaces, nullptr, &title, &body, nullptr, &hints,
                  nullptr);
    guchar urgency = 0;
    if (g_variant_lookup(hints, "urgency", "y", &urgency)) call.urgency = urgency;
    g_variant_unref(hints);
    call.title = title;
    call.body = body;
    service.calls.push_back(call);
    const auto number = call.replaces ? call.replaces : static_cast<std::uint32_t>(40 + service.calls.size());
    g_dbus_method_invocation_return_value(invocation, g_variant_new("(u)", number));
  }
  GDBusConnection* bus_ = nullptr;
  GDBusNodeInfo* node_ = nullptr;
};

class DesktopNotificationsTest : public ::testing::Test {
 protected:
  template <class Condition>
  void serveUntil(Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    loop_.serveUntil([&] { return condition() || std::chrono::steady_clock::now() > deadline; });
    ASSERT_TRUE(condition());
  }
  MainLoop loop_;
  MainLoop::SourceHandle tick_ = loop_.every(std::chrono::milliseconds(5), [] {});
  DesktopNotifications notifications_{"Qel Lumisk"};
};

TEST_F(DesktopNotificationsTest, Send_ReachesTheService_ReplacesByKey_AndTellsOfClicks) {
  FakeService service;
  notifications_.send({"a", "failed <b>", "1 < 2 & so on", true});
  serveUntil([&] { return service.calls.size() == 1; });
  EXPECT_EQ(service.calls[0].title, "failed <b>");
  EXPECT_EQ(service.calls[0].body, "1 &lt; 2 &amp; so on");
  EXPECT_EQ(service.calls[0].urgency, 2);
  notifications_.send({"b", "other \xff", "", false});
  serveUntil([&] { return service.calls.size() == 2; });
  EXPECT_EQ(service.calls[1].title, "other \\xFF");
  std::string clicked;
  notifications_.whenActivated([&](const std::string& key) { clicked = key; });
  serveUntil([&] {
    service.click(41);  // until its number is known
    return !clicked.empty();
  });
  EXPECT_EQ(clicked, "a");
  notifications_.send({"a", "failed again", "", true});
  serveUntil([&] { return service.calls.size() == 3; });
  EXPECT_EQ(service.calls[2].replaces, 41U);
}

TEST_F(DesktopNotificationsTest, NoService_IsSilent_AlsoWhenItComesLater) {
  notifications_.send({"a", "nobody hears it", "", false});
  for (int i = 0; i < 20; ++i) loop_.serveUntil([once = 0]() mutable { return once++ > 0; });
  FakeService service;
  notifications_.send({"b", "heard", "", false});
  serveUntil([&] { return !service.calls.empty() && service.calls.back().title == "heard"; });
}

}  // namespace
}  // namespace lumisk
