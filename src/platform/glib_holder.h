#pragma once

#include <memory>

namespace lumisk {

// Owns what a C library made, and gives it back by the library's own function: std::unique_ptr<GError,
// Release<g_error_free>>. For the sources of this folder.
template <auto release>
struct Release {
  template <class T>
  void operator()(T* object) const {
    release(object);
  }
};

}  // namespace lumisk
