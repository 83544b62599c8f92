#include "platform/acting_as.h"

#include <sys/fsuid.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <utility>

namespace lumisk {
namespace {

// An id that nobody has changes nothing and tells the present one.
constexpr auto kAsk = static_cast<std::uint32_t>(-1);

std::uint32_t fileUser() {
  return static_cast<std::uint32_t>(::setfsuid(kAsk));
}

std::uint32_t fileGroup() {
  return static_cast<std::uint32_t>(::setfsgid(kAsk));
}

}  // namespace

ActingAs::Rights ActingAs::present() {
  Rights rights{fileUser(), fileGroup(), {}};
  const int count = ::getgroups(0, nullptr);
  rights.groups.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
  if (count > 0) ::getgroups(count, rights.groups.data());
  return rights;
}

// The system call itself: the library's function would change the groups of all threads. The user comes last on the way
// to another and first on the way back, since root alone may change the rest.
bool ActingAs::take(const Rights& rights) {
  if (rights.user == 0) ::setfsuid(rights.user);
  ::setfsgid(rights.group);
  const bool haveGroups = ::syscall(SYS_setgroups, rights.groups.size(), rights.groups.data()) == 0;
  ::setfsuid(rights.user);
  return haveGroups && fileUser() == rights.user && fileGroup() == rights.group;
}

Result<ActingAs> ActingAs::user(std::uint32_t user, std::uint32_t group) {
  if (::geteuid() != 0) {
    if (user != ::geteuid()) return fail("act as the user", std::to_string(user), EPERM);
    ActingAs nothing{Rights()};
    nothing.isActive_ = false;
    return nothing;
  }
  ActingAs acting(present());
  if (!take({user, group, {}})) return fail("act as the user", std::to_string(user), EPERM);
  return acting;
}

ActingAs::ActingAs(ActingAs&& other) noexcept
    : before_(std::move(other.before_)), isActive_(std::exchange(other.isActive_, false)) {}

ActingAs::~ActingAs() {
  if (isActive_ && !take(before_)) std::abort();
}

}  // namespace lumisk
