#include "platform/desktop_notifications.h"

#include <gio/gio.h>

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "platform/byte_text.h"

namespace lumisk {
namespace {

constexpr const char* kName = "org.freedesktop.Notifications";
constexpr const char* kPath = "/org/freedesktop/Notifications";
constexpr const char* kDefaultAction = "default";
constexpr int kAnswerWithinMilliseconds = 5000;
constexpr std::uint8_t kNormal = 1, kCritical = 2;

// Services may read the body as markup.
std::string withoutMarkup(const std::string& text) {
  std::string safe;
  for (const char c : text) {
    if (c == '&')
      safe += "&amp;";
    else if (c == '<')
      safe += "&lt;";
    else if (c == '>')
      safe += "&gt;";
    else
      safe += c;
  }
  return safe;
}

std::string validText(const std::string& text) {
  return isValidUtf8(text) && text.find('\0') == std::string::npos ? text : displayText(text);
}

}  // namespace

struct DesktopNotifications::State {
  std::string application, icon;
  GDBusConnection* bus = nullptr;
  guint actions = 0;
  bool isConnecting = false;
  bool isGone = false;  // whoever sends has gone: answers are dropped
  std::vector<DesktopNotice> waiting;
  std::map<std::string, std::uint32_t> shown;  // the service's numbers by key
  std::function<void(const std::string&)> activated;

  void connect(const std::shared_ptr<State>& self);
  void call(const std::shared_ptr<State>& self, const DesktopNotice& notice);
  [[nodiscard]] GVariant* arguments(const DesktopNotice& notice) const;
};

namespace {

template <class T>
T taken(gpointer data) {
  T* const held = static_cast<T*>(data);
  T value = std::move(*held);
  delete held;
  return value;
}

}  // namespace

DesktopNotifications::DesktopNotifications(std::string applicationName, std::string icon)
    : state_(std::make_shared<State>()) {
  state_->application = std::move(applicationName);
  state_->icon = std::move(icon);
}

DesktopNotifications::~DesktopNotifications() {
  state_->isGone = true;
  state_->activated = nullptr;
  if (!state_->bus) return;
  if (state_->actions) g_dbus_connection_signal_unsubscribe(state_->bus, state_->actions);
  g_clear_object(&state_->bus);
}

void DesktopNotifications::whenActivated(std::function<void(const std::string& key)> activated) {
  state_->activated = std::move(activated);
}

void DesktopNotifications::send(const DesktopNotice& notice) {
  if (state_->bus) return state_->call(state_, notice);
  state_->waiting.push_back(notice);
  state_->connect(state_);
}

void DesktopNotifications::State::connect(const std::shared_ptr<State>& self) {
  if (std::exchange(isConnecting, true)) return;
  const auto connected = [](GObject*, GAsyncResult* result, gpointer data) {
    const auto state = taken<std::shared_ptr<State>>(data);
    state->isConnecting = false;
    GDBusConnection* const reached = g_bus_get_finish(result, nullptr);
    const auto kept = std::exchange(state->waiting, {});
    if (!reached) return;
    if (state->isGone) return g_object_unref(reached);
    state->bus = reached;
    const auto told = [](GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*, GVariant* parameters,
                         gpointer user) {
      auto& heard = *static_cast<State*>(user);
      guint number = 0;
      g_variant_get_child(parameters, 0, "u", &number);
      for (const auto& [key, shownNumber] : heard.shown) {
        if (shownNumber != number || !heard.activated) continue;
        const std::string copy = key;
        return heard.activated(copy);
      }
    };
    state->actions = g_dbus_connection_signal_subscribe(reached, kName, kName, "ActionInvoked", kPath, nullptr,
                                                        G_DBUS_SIGNAL_FLAGS_NONE, told, state.get(), nullptr);
    for (const DesktopNotice& notice : kept) state->call(state, notice);
  };
  g_bus_get(G_BUS_TYPE_SESSION, nullptr, connected, new std::shared_ptr<State>(self));
}

GVariant* DesktopNotifications::State::arguments(const DesktopNotice& notice) const {
  const auto known = shown.find(notice.key);
  GVariantBuilder buttons, hints;
  g_variant_builder_init(&buttons, G_VARIANT_TYPE("as"));
  g_variant_builder_add(&buttons, "s", kDefaultAction);
  g_variant_builder_add(&buttons, "s", application.c_str());
  g_variant_builder_init(&hints, G_VARIANT_TYPE("a{sv}"));
  g_variant_builder_add(&hints, "{sv}", "urgency", g_variant_new_byte(notice.isUrgent ? kCritical : kNormal));
  g_variant_builder_add(&hints, "{sv}", "desktop-entry", g_variant_new_string("lumisk-desktop"));
  return g_variant_new("(susssasa{sv}i)", application.c_str(), known == shown.end() ? 0U : known->second, icon.c_str(),
                       validText(notice.title).c_str(), withoutMarkup(validText(notice.body)).c_str(), &buttons, &hints,
                       -1);
}

void DesktopNotifications::State::call(const std::shared_ptr<State>& self, const DesktopNotice& notice) {
  struct Sent {
    std::shared_ptr<State> state;
    std::string key;
  };
  const auto answered = [](GObject* asked, GAsyncResult* result, gpointer data) {
    const auto sent = taken<Sent>(data);
    GVariant* const answer = g_dbus_connection_call_finish(G_DBUS_CONNECTION(asked), result, nullptr);
    if (!answer) return;  // no service, and that is all right
    guint number = 0;
    g_variant_get(answer, "(u)", &number);
    g_variant_unref(answer);
    sent.state->shown[sent.key] = number;
  };
  g_dbus_connection_call(bus, kName, kPath, kName, "Notify", arguments(notice), G_VARIANT_TYPE("(u)"),
                         G_DBUS_CALL_FLAGS_NONE, kAnswerWithinMilliseconds, nullptr, answered,
                         new Sent{self, notice.key});
}

}  // namespace lumisk
