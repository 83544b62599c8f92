#include "platform/polkit_authority.h"

#include <gio/gio.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <sstream>
#include <thread>

#include "platform/glib_holder.h"

namespace lumisk::polkit {
namespace {

constexpr const char* kAsk = "ask polkit";
constexpr const char* kSystemBus = "unix:path=/run/dbus/system_bus_socket";  // never from the environment

using ErrorHolder = std::unique_ptr<GError, Release<g_error_free>>;
using ConnectionHolder = std::unique_ptr<GDBusConnection, Release<g_object_unref>>;
using CancellableHolder = std::unique_ptr<GCancellable, Release<g_object_unref>>;
using VariantHolder = std::unique_ptr<GVariant, Release<g_variant_unref>>;

// Cancels what uses it when the time is up: connecting to a bus knows no limit of its own.
class Limited {
 public:
  explicit Limited(std::chrono::milliseconds limit) : cancellable_(g_cancellable_new()) {
    waiter_ = std::thread([this, limit] {
      std::unique_lock lock(mutex_);
      if (!over_.wait_for(lock, limit, [this] { return isOver_; })) g_cancellable_cancel(cancellable_.get());
    });
  }
  Limited(const Limited&) = delete;
  Limited& operator=(const Limited&) = delete;
  ~Limited() {
    {
      const std::lock_guard lock(mutex_);
      isOver_ = true;
    }
    over_.notify_one();
    waiter_.join();
  }
  [[nodiscard]] GCancellable* cancellable() const { return cancellable_.get(); }

 private:
  CancellableHolder cancellable_;
  std::mutex mutex_;
  std::condition_variable over_;
  bool isOver_ = false;
  std::thread waiter_;
};

tl::unexpected<Error> failed(GError* error) {
  const ErrorHolder holder(error);
  if (error && g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED)) return fail(kAsk, "", ETIMEDOUT);
  return fail(kAsk, "", 0, error ? error->message : "no answer");
}

// Field 22 of proc(5)'s stat, in clock ticks; the name in parentheses may hold anything. With it, a number that was
// given to another process is told from the one that asked.
Result<std::uint64_t> startTimeOf(std::int32_t process) {
  const std::string path = "/proc/" + std::to_string(process) + "/stat";
  std::ifstream file(path, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  const auto end = text.rfind(')');
  if (end == std::string::npos) return fail("look at the process", path, ESRCH);
  std::istringstream fields(text.substr(end + 1));
  std::string field;
  constexpr int kAfterTheName = 20;
  for (int i = 0; i < kAfterTheName; ++i) fields >> field;
  if (!fields) return fail("look at the process", path, ESRCH);
  return std::strtoull(field.c_str(), nullptr, 10);
}

// (subject (kind, details), action, details, flags, identifier for cancelling), as polkit's interface has it.
GVariant* questionOf(const Subject& subject, std::uint64_t startTime, const std::string& action) {
  constexpr guint32 kAllowUserInteraction = 1;
  GVariantBuilder details;
  g_variant_builder_init(&details, G_VARIANT_TYPE("a{sv}"));
  g_variant_builder_add(&details, "{sv}", "pid", g_variant_new_uint32(static_cast<guint32>(subject.process)));
  g_variant_builder_add(&details, "{sv}", "start-time", g_variant_new_uint64(startTime));
  g_variant_builder_add(&details, "{sv}", "uid", g_variant_new_int32(static_cast<gint32>(subject.user)));
  return g_variant_new("((sa{sv})sa{ss}us)", "unix-process", &details, action.c_str(), nullptr, kAllowUserInteraction,
                       "");
}

Answer answerOf(GVariant* result) {
  gboolean isAuthorised = FALSE;
  gboolean needsSomebody = FALSE;
  GVariant* details = nullptr;
  g_variant_get(result, "((bb@a{ss}))", &isAuthorised, &needsSomebody, &details);
  const VariantHolder holder(details);
  const char* dismissed = nullptr;
  if (isAuthorised) return Answer::kGranted;
  if (g_variant_lookup(details, "polkit.dismissed", "&s", &dismissed)) return Answer::kDismissed;
  return needsSomebody ? Answer::kNobodyToAsk : Answer::kDenied;
}

// A connection of its own, so that polkit takes a dialog back when it is closed.
Result<ConnectionHolder> connect(GCancellable* cancellable) {
  GError* error = nullptr;
  const auto kind = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                      G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
  ConnectionHolder bus(g_dbus_connection_new_for_address_sync(kSystemBus, kind, nullptr, cancellable, &error));
  if (!bus) return failed(error);
  return bus;
}

}  // namespace

Result<Answer> check(const Subject& subject, const std::string& action, std::chrono::milliseconds limit) {
  if (subject.user == 0) return Answer::kGranted;
  LUMISK_TRY(const std::uint64_t startTime, startTimeOf(subject.process));
  const Limited limited(limit);
  LUMISK_TRY(const ConnectionHolder bus, connect(limited.cancellable()));
  GError* error = nullptr;
  const VariantHolder result(g_dbus_connection_call_sync(
      bus.get(), "org.freedesktop.PolicyKit1", "/org/freedesktop/PolicyKit1/Authority",
      "org.freedesktop.PolicyKit1.Authority", "CheckAuthorization", questionOf(subject, startTime, action),
      G_VARIANT_TYPE("((bba{ss}))"), G_DBUS_CALL_FLAGS_NONE, G_MAXINT, limited.cancellable(), &error));
  g_dbus_connection_close_sync(bus.get(), nullptr, nullptr);
  if (!result) return failed(error);
  return answerOf(result.get());
}

}  // namespace lumisk::polkit
