#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lumisk {

// The local files of a "text/uri-list" (RFC 2483) as file managers drop and paste it: the bytes of each path, whatever
// their encoding. What is no local file ("http:", another host) is left out. Pure.
[[nodiscard]] std::vector<std::string> pathsOfUriList(std::string_view list);
// A path as people type it: "~" at its begin is their home folder.
[[nodiscard]] std::string pathOfTyped(const std::string& typed);

}  // namespace lumisk
