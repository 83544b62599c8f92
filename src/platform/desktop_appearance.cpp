#include "platform/desktop_appearance.h"

#include <gio/gio.h>

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace lumisk {
namespace {

constexpr int kPatienceMilliseconds = 500;
constexpr std::uint32_t kPrefersDark = 1;  // from the portal's documentation

struct Unref {
  void operator()(GDBusConnection* bus) const { g_object_unref(bus); }
  void operator()(GVariant* value) const { g_variant_unref(value); }
};
template <class Type>
using Owned = std::unique_ptr<Type, Unref>;

// The answer is one variant, which holds another with the number.
std::uint32_t numberIn(GVariant* answer) {
  Owned<GVariant> value(g_variant_get_child_value(answer, 0));
  while (g_variant_is_of_type(value.get(), G_VARIANT_TYPE_VARIANT)) value.reset(g_variant_get_variant(value.get()));
  return g_variant_is_of_type(value.get(), G_VARIANT_TYPE_UINT32) ? g_variant_get_uint32(value.get()) : 0;
}

}  // namespace

// Without an address the library would start a bus of its own.
bool desktopPrefersDark() {
  if (!std::getenv("DBUS_SESSION_BUS_ADDRESS")) return false;
  const Owned<GDBusConnection> bus(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
  if (!bus) return false;
  const Owned<GVariant> answer(g_dbus_connection_call_sync(
      bus.get(), "org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop", "org.freedesktop.portal.Settings",
      "Read", g_variant_new("(ss)", "org.freedesktop.appearance", "color-scheme"), nullptr, G_DBUS_CALL_FLAGS_NONE,
      kPatienceMilliseconds, nullptr, nullptr));
  return answer && numberIn(answer.get()) == kPrefersDark;
}

}  // namespace lumisk
