#pragma once

#include <cstdint>
#include <vector>

#include "platform/result.h"

namespace lumisk {

// While it lives, what this thread does to files it does with another user's rights only: his user and group, no other
// group, none of root's exemptions. Other threads keep theirs. setfsuid(2), credentials(7). For root; without root only
// the process's own user can be had. The end of the object cannot fail: a thread that does not get its own rights back
// ends the process.
class ActingAs {
 public:
  static Result<ActingAs> user(std::uint32_t user, std::uint32_t group);
  ActingAs(ActingAs&& other) noexcept;
  ActingAs& operator=(ActingAs&&) = delete;
  ~ActingAs();

 private:
  struct Rights {
    std::uint32_t user = 0;
    std::uint32_t group = 0;
    std::vector<std::uint32_t> groups;
  };
  explicit ActingAs(Rights before) : before_(std::move(before)) {}
  static Rights present();
  static bool take(const Rights& rights);

  Rights before_;
  bool isActive_ = true;
};

}  // namespace lumisk
