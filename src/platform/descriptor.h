#pragma once

#include <utility>

namespace lumisk {

// Owns one open file descriptor; closes it when it goes. Errors at close are ignored here: whoever wrote to the file
// asks FileCalls::close() and learns them.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) {
      reset();
      number_ = std::exchange(other.number_, -1);
    }
    return *this;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { reset(); }

  [[nodiscard]] int get() const { return number_; }
  [[nodiscard]] bool isOpen() const { return number_ >= 0; }
  [[nodiscard]] int release() { return std::exchange(number_, -1); }
  void reset();

 private:
  int number_ = -1;
};

}  // namespace lumisk
